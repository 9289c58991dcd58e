#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// Points in time as text, ISO 8601 in UTC with milliseconds ("2026-11-25T16:05:01.123Z"). Pure; any thread.
namespace utils {

std::string utc_text(std::chrono::system_clock::time_point time);
/// Nothing for anything but that form and a date that exists.
std::optional<std::chrono::system_clock::time_point> utc_of(std::string_view text);

} // namespace utils
