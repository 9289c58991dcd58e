#pragma once

#include <string>

namespace bench {

class Bench;

/// Runs one control command. @return "ok ..." or "error ...", without a line break at the end; only "journal"
/// answers with more than one line: "ok <count>" and as many lines.
std::string run_control_command(Bench& bench, const std::string& line);

/// One line a command.
std::string control_help();

} // namespace bench
