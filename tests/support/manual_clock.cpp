#include "support/manual_clock.hpp"

#include "timer/wakeup.hpp"

#include <algorithm>
#include <thread>

namespace {

using namespace std::chrono_literals;

const Clock::time_point START{1h};
constexpr auto WALL_START = std::chrono::sys_days{std::chrono::year{2024} / 1 / 1};
constexpr std::chrono::milliseconds WAKE_STEP{100};
constexpr auto REAL_LIMIT = 5s;
constexpr auto REAL_PAUSE = 20us; // between looks at waiters that are about to wait or to leave

} // namespace

Clock::time_point ManualClock::now() const
{
    const std::lock_guard held(mutex_);
    return now_;
}

std::chrono::system_clock::time_point ManualClock::wall_now() const
{
    return WALL_START + std::chrono::duration_cast<std::chrono::system_clock::duration>(now() - START);
}

void ManualClock::sleep_for(std::chrono::milliseconds pause, const Wakeup& wakeup)
{
    for (auto left = pause; left > 0ms && !wakeup.is_woken(); left -= std::min(left, WAKE_STEP)) {
        advance(std::min(left, WAKE_STEP));
    }
}

bool ManualClock::wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                             time_point deadline)
{
    if (others_work_ && std::this_thread::get_id() == passes_waits_) {
        return pass(held, deadline);
    }
    const auto self = std::make_shared<Waiter>(Waiter{&condition, held.mutex(), deadline});
    {
        const std::lock_guard own(mutex_);
        if (now_ >= deadline) {
            return false;
        }
        waiters_.push_back(self);
    }
    condition.wait(held);
    const std::lock_guard own(mutex_);
    std::erase(waiters_, self);
    return now_ < deadline;
}

bool ManualClock::pass(std::unique_lock<std::mutex>& held, time_point deadline)
{
    if (now() >= deadline) {
        return false;
    }
    held.unlock();
    if (!others_work_()) {
        if (before_each_) {
            before_each_();
        }
        advance_to_next(std::chrono::ceil<std::chrono::milliseconds>(deadline - now()));
        others_work_();
    }
    held.lock();
    return now() < deadline;
}

void ManualClock::advance(std::chrono::milliseconds distance)
{
    if (before_each_) {
        before_each_();
    }
    const auto target = now() + distance;
    while (true) {
        {
            const std::lock_guard held(mutex_);
            now_ = std::max(now_, next_stop(target));
        }
        run_due_actions();
        release_due_waiters();
        const std::lock_guard held(mutex_);
        if (now_ >= target) {
            return;
        }
    }
}

void ManualClock::advance_to_next(std::chrono::milliseconds limit)
{
    {
        const std::lock_guard held(mutex_);
        now_ = std::max(now_, next_stop(now_ + limit));
    }
    run_due_actions();
    release_due_waiters();
}

void ManualClock::at(std::chrono::milliseconds offset, std::function<void()> action)
{
    const std::lock_guard held(mutex_);
    actions_.emplace(now_ + offset, std::move(action));
}

Clock::time_point ManualClock::next_stop(time_point target) const
{
    auto stop = actions_.empty() ? target : std::min(target, actions_.begin()->first);
    for (const auto& waiter : waiters_) {
        stop = std::min(stop, waiter->deadline);
    }
    return stop;
}

void ManualClock::run_due_actions()
{
    std::unique_lock held(mutex_);
    while (!actions_.empty() && actions_.begin()->first <= now_) {
        const auto action = std::move(actions_.extract(actions_.begin()).mapped());
        held.unlock();
        action();
        held.lock();
    }
}

void ManualClock::release_due_waiters()
{
    std::vector<std::mutex*> left;
    while (auto* mutex = wake_one_due()) {
        left.push_back(mutex);
    }
    for (auto* mutex : left) {
        const std::lock_guard once_through(*mutex); // behind whatever the waiter did with it
    }
    if (!left.empty()) {
        let_others_work();
    }
}

// Wakes a waiter whose deadline has come, until it is gone from the list; null when there is none. Its mutex
// is only tried, since the waiter may hold it and want this clock's.
std::mutex* ManualClock::wake_one_due()
{
    std::shared_ptr<Waiter> due;
    while (true) {
        {
            const std::lock_guard held(mutex_);
            if (!due) {
                const auto found = std::find_if(waiters_.begin(), waiters_.end(), [this](const auto& waiter) {
                    return waiter->deadline <= now_;
                });
                if (found == waiters_.end()) {
                    return nullptr;
                }
                due = *found;
            }
            if (std::find(waiters_.begin(), waiters_.end(), due) == waiters_.end()) {
                return due->mutex;
            }
            if (due->mutex->try_lock()) {
                due->condition->notify_all();
                due->mutex->unlock();
            }
        }
        std::this_thread::sleep_for(REAL_PAUSE);
    }
}

bool ManualClock::await_waiters(std::size_t count)
{
    const auto give_up = std::chrono::steady_clock::now() + REAL_LIMIT;
    while (std::chrono::steady_clock::now() < give_up) {
        {
            const std::lock_guard held(mutex_);
            const auto inside = std::count_if(waiters_.begin(), waiters_.end(), [](const auto& waiter) {
                const std::unique_lock can_lock(*waiter->mutex, std::try_to_lock);
                return can_lock.owns_lock(); // it has let its mutex go, so it waits
            });
            if (static_cast<std::size_t>(inside) >= count) {
                return true;
            }
        }
        std::this_thread::sleep_for(REAL_PAUSE);
    }
    return false;
}
