#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace celldctl {

/// The strength of the signal over time, a sample every SAMPLE_INTERVAL, of the last hour.
using SignalHistory = std::deque<std::optional<std::int64_t>>; // dBm; nothing while it is not known

/// The newest samples as `columns` marks at most, low to high over the scale of +CSQ (-113 to -51 dBm); a
/// blank for what is not known. Block elements of Unicode, or ASCII where the terminal has no UTF-8.
std::string sparkline(const SignalHistory& history, std::size_t columns, bool utf8);

/// "-93 to -71 dBm" of the newest samples; empty when none is known.
std::string range_text(const SignalHistory& history, std::size_t columns);

} // namespace celldctl
