#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

enum class Form { EXECUTE, READ, SET, TEST };

/// One command of a command line: +NAME, +NAME?, +NAME=..., +NAME=? (3GPP TS 27.007 clause 4).
struct AtRequest {
    std::string text; ///< as it came, without the "AT"
    std::string name; ///< upper case, with its '+'; "E" for the basic command
    Form form = Form::EXECUTE;
    std::vector<std::string> args; ///< without their quotes; an omitted one is empty

    bool has(std::size_t index) const { return index < args.size() && !args[index].empty(); }

    /// Argument `index` as a decimal number; nothing when it is absent or not one.
    std::optional<int> number(std::size_t index) const;

    /// The number within the bounds; nothing otherwise.
    std::optional<int> number(std::size_t index, int low, int high) const;

    /// Argument `index`, empty when absent.
    std::string argument(std::size_t index) const { return index < args.size() ? args[index] : ""; }
};

/// The commands of one line, apart at each ';' outside quotes. A text that is no command becomes a request
/// with an empty name, which no table knows.
std::vector<AtRequest> parse_command_line(std::string_view line);

bool starts_with_ignoring_case(std::string_view text, std::string_view prefix);

} // namespace bench
