#pragma once

#include "data/registration.hpp"

#include <optional>
#include <string>

/// Reading registration lines (3GPP TS 27.007, 7.2, 10.1.20, 10.1.22). Pure functions.
namespace registration {

/// "+CREG", "+CGREG", "+CEREG".
const char* prefix_of(Domain domain);

/// An unsolicited line, which has no <n>. Nothing when there is no status to read, and nothing for a line
/// that can only be the answer to a read command, come late: <n>,<stat> in front. What could be either is a
/// report.
std::optional<Update> parse_urc(Domain domain, const std::string& message);

/// The answer to the read command, its numbers padded or not. URCs of the same prefix that came in front of
/// it are passed over: the last piece that has the answer's shape counts.
std::optional<Update> parse_answer(Domain domain, const std::string& message);

} // namespace registration
