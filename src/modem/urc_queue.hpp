#pragma once

#include "at/at_command_response.hpp"

#include <deque>
#include <mutex>
#include <optional>

/// Unsolicited result codes on their way from the port thread to the main thread. Any thread; holds its lock
/// only for one append or one take.
class UrcQueue {
public:
    /// A module that floods loses its oldest reports first, with a WARNING; a later report of the same kind
    /// follows.
    static constexpr std::size_t MAX_QUEUED = 4096;

    void push(const AtCommandResponse& response);
    std::optional<AtCommandResponse> take();
    void clear();

private:
    std::mutex mutex_;
    std::deque<AtCommandResponse> queue_; // guarded by mutex_
    bool overflown_ = false;              // guarded by mutex_; logged once until the queue has been emptied
};
