#pragma once

#include <string>
#include <vector>

/// What breaks a rule in a log of the daemon, a line each: more records of NOTICE and above within a minute
/// than any sequence of steps writes; the same transition refused twice without a change of state between, as
/// of a loop that goes on asking.
std::vector<std::string> log_violations(const std::string& log);
