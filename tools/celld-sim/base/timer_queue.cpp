#include "base/timer_queue.hpp"

#include <algorithm>

namespace bench {

TimerQueue::Id TimerQueue::after(std::chrono::milliseconds delay, std::function<void()> action)
{
    const Id id = ++last_id_;
    timers_.emplace(Key{now_ + delay, id}, std::move(action));
    return id;
}

void TimerQueue::cancel(Id id)
{
    const auto found = std::find_if(timers_.begin(), timers_.end(),
                                    [id](const auto& timer) { return timer.first.second == id; });
    if (found != timers_.end()) {
        timers_.erase(found);
    }
}

void TimerQueue::advance_to(TimePoint now)
{
    while (!timers_.empty() && timers_.begin()->first.first <= now) {
        auto timer = timers_.extract(timers_.begin());
        now_ = std::max(now_, timer.key().first); // what the action starts counts from its own deadline
        timer.mapped()();
    }
    now_ = std::max(now_, now);
}

std::optional<TimerQueue::TimePoint> TimerQueue::next_deadline() const
{
    if (timers_.empty()) {
        return std::nullopt;
    }
    return timers_.begin()->first.first;
}

} // namespace bench
