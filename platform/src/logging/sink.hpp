#pragma once

#include <ecu/kova/logging.hpp>

#include <ctime>
#include <string>
#include <string_view>

namespace ecu::kova::logging {

/// The text with every byte that is neither printable ASCII nor a line break written as \xNN: what the
/// module or the bus sent can neither forge a terminal's control sequence nor break the log's encoding.
std::string escaped(std::string_view text);

/// One line for a stream, line end included: "<UTC time> <LEVEL> <module>: <text>".
std::string stream_line(const timespec& time, Level level, const std::string& module,
                        const std::string& text);

/// Writes all bytes in as few write(2) calls as the kernel allows. Gives up on a reader that is gone or that
/// has stopped reading a non-blocking descriptor: a lost record must not hold the daemon. Never raises
/// SIGPIPE.
void write_to_stream(int descriptor, std::string_view line);

/// One syslog(3) record, facility daemon, identity "celld".
void write_to_syslog(Level level, const std::string& module, const std::string& text);

} // namespace ecu::kova::logging
