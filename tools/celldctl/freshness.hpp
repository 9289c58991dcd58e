#pragma once

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace celldctl {

/// After so long a silence nobody is there who would say it: the daemon's status is at most 243 s late
/// (docs/bus.md).
constexpr std::chrono::seconds LONGEST_SILENCE{300};

/// The sender's "nanoseconds since boot" of a frame (docs/bus.md); nothing when there is no header to read.
std::optional<std::int64_t> time_stamp_of(const ecu::kova::com::Message& message);

/// How long ago that was. `now_ns` is this host's time since boot, and nothing when the sender is on another
/// host; nothing also for a stamp that is still to come, which another boot has made.
std::optional<std::chrono::seconds> age(std::optional<std::int64_t> stamp_ns,
                                        std::optional<std::int64_t> now_ns);

/// Whether the message tells of now: it was just sent, or it is retained and known to be young. What a daemon
/// that is long gone has left with the broker does not.
bool is_current(const ecu::kova::com::Message& message, std::optional<std::int64_t> now_ns);

/// "12:00:00.123Z", behind the date "2026-01-31T12:00:00.123Z".
std::string time_text(std::chrono::system_clock::time_point when, bool date);

/// "42 s", "3 min 07 s", "2 h 05 min", "3 d 04 h".
std::string duration_text(std::chrono::seconds duration);

} // namespace celldctl
