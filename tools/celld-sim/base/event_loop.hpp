#pragma once

#include "base/timer_queue.hpp"

#include <functional>
#include <map>

namespace bench {

/// One poll() loop for everything: descriptors and timers. All callbacks run on the thread of run().
class EventLoop {
public:
    /// Gets the poll event bits that came.
    using Callback = std::function<void(short)>;

    EventLoop();

    TimerQueue& timers() { return timers_; }

    /// Calls back while any of `events` (POLLIN, POLLOUT) holds, or on a hang-up; replaces an earlier watch.
    void watch(int fd, short events, Callback callback);
    void unwatch(int fd);

    /// Returns after stop(). @throws BenchError when poll fails
    void run();
    void stop() { running_ = false; }

private:
    struct Watch {
        short events;
        Callback callback;
    };

    int poll_timeout_ms() const;
    void poll_once();

    TimerQueue timers_;
    std::map<int, Watch> watches_;
    bool running_ = false;
};

} // namespace bench
