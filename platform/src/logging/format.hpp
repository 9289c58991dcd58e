#pragma once

#include <ecu/kova/logging.hpp>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace ecu::kova::logging {

/// The module under which logging speaks of itself.
constexpr const char* OWN_NAME = "kova.logging";

/// The text with every byte that is neither printable ASCII nor a line break written as \xNN: what the
/// module or the bus sent can neither forge a terminal's control sequence nor break the log's encoding.
std::string escaped(std::string_view text);

/// One line for a stream, line end included: "<UTC time> <LEVEL> <module>: <text>".
std::string stream_line(const timespec& time, Level level, const std::string& module,
                        const std::string& text);

/// What is told of records that a reader did not take in time.
std::string dropped_text(std::uint64_t count);

} // namespace ecu::kova::logging
