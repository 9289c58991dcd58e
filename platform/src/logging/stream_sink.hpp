#pragma once

#include "patience.hpp"

#include <cstdint>
#include <ctime>
#include <string_view>

namespace ecu::kova::logging {

/// A standard stream, which may lead to a reader that is slow, has stopped or is gone: none of these holds up
/// the daemon. What cannot be written within the patience of one record is dropped and counted, and the count
/// is written once somebody reads again. Never raises SIGPIPE, never changes the descriptor's flags. One
/// thread at a time.
class StreamSink {
public:
    explicit StreamSink(int descriptor) : descriptor_(descriptor) {}

    /// `line` ends in a line break; a line that was cut short is closed before this one begins.
    void write(const timespec& time, std::string_view line);

private:
    bool put_all(const timespec& time, std::string_view line, const Patience& patience);
    bool put(std::string_view text, const Patience& patience);

    int descriptor_;
    bool stalled_ = false; // the last record was dropped
    bool cut_ = false;     // the last bytes written were part of a line
    std::uint64_t dropped_ = 0;
};

} // namespace ecu::kova::logging
