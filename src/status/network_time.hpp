#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The value of "+CCLK?": "yy/MM/dd,hh:mm:ss±zz" (3GPP TS 27.007, 8.15), zz in quarters of an hour, as
/// microseconds since 1970, UTC. Quarters that make no whole hour are dropped. Nothing when the text is no
/// such time, or lies before 2015: a module that has not heard from the network counts from the year of its
/// firmware. Uses mktime(3): the unit runs on UTC. Any thread.
std::optional<std::int64_t> parse_network_time_us(const std::string& value);
