#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace bench {

/// Whether the words behind a control command's name are what its usage line says, without running it. There
/// " / " parts alternatives, "|" those of one word, brackets hold the last word when it may be missing. Words
/// in capitals stand for something: MODE, MS, N, OHM, SECONDS for a number, DIGITS, NAME, TEXT for all that
/// is left, "COMMAND..." for another command, which `command` checks; others for any word. Bounds are not
/// looked at.
bool fits_usage(std::string_view usage, std::string_view arguments,
                const std::function<std::optional<std::string>(std::string_view)>& command);

} // namespace bench
