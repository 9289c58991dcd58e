#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace bench {

class Bench;

/// Runs one control command. @return "ok ..." or "error ...", without a line break at the end; only "journal"
/// answers with more than one line: "ok <count>" and as many lines.
std::string run_control_command(Bench& bench, const std::string& line);

/// What is wrong with a command, as far as its words tell; nothing when it would be taken.
std::optional<std::string> check_control_command(std::string_view line);

/// One line a command.
std::string control_help();

} // namespace bench
