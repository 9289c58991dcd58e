#pragma once

#include "at/at_command_response.hpp"

#include <cstdint>
#include <deque>
#include <threads/mutex.hpp>

/// Unsolicited result codes on their way from the port thread to the main thread. Any thread; holds its lock
/// only for one append or one take.
class UrcQueue {
public:
    /// A module that floods loses its oldest reports first, with a WARNING when that begins and the number
    /// when it is over; a later report of the same kind follows.
    static constexpr std::size_t MAX_QUEUED = 4096; // two seconds of CONNECTED at 2,000 a second
    static constexpr std::size_t MAX_BYTES = 256UL * 1024UL;

    void push(const AtCommandResponse& response);
    /// All that have come so far, oldest first.
    std::deque<AtCommandResponse> take_all();
    void clear() { take_all(); }

private:
    threads::Mutex mutex_;
    std::deque<AtCommandResponse> queue_ THREADS_GUARDED_BY(mutex_);
    std::size_t bytes_ THREADS_GUARDED_BY(mutex_) = 0;           // of the messages queued
    std::uint64_t dropped_ THREADS_GUARDED_BY(mutex_) = 0;       // since the flood began
    std::uint64_t newly_dropped_ THREADS_GUARDED_BY(mutex_) = 0; // since the queue was emptied
};