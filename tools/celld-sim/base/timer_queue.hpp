#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace bench {

/// One-shot timers against a time that the owner moves: the event loop with the steady clock, a test by hand.
/// One thread only. A callback may set and cancel timers, its own included.
class TimerQueue {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Id = std::uint64_t;

    explicit TimerQueue(TimePoint start) : now_(start) {}

    TimePoint now() const { return now_; }

    /// Runs `action` once `delay` has passed; never before the next advance_to.
    Id after(std::chrono::milliseconds delay, std::function<void()> action);

    /// Does nothing for an id that has fired or was cancelled.
    void cancel(Id id);

    /// Moves the time and runs what is due, in the order of the deadlines.
    void advance_to(TimePoint now);

    std::optional<TimePoint> next_deadline() const;

private:
    using Key = std::pair<TimePoint, Id>;

    TimePoint now_;
    Id last_id_ = 0;
    std::map<Key, std::function<void()>> timers_;
};

} // namespace bench
