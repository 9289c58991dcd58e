#pragma once

#include "timer/clock.hpp"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// A clock that stands still until it is moved. Any thread.
///
/// Moving it stops at everything on the way, in order of time: functions put there with `at`, and deadlines
/// of threads inside `wait_until`. Such a thread has left its wait, and has let its mutex go once, before the
/// clock moves on: a timer's callback has run. So the owner of a wait outlives an `advance` by another
/// thread, and nobody moves the clock while holding a mutex that is waited with.
class ManualClock final : public Clock {
public:
    time_point now() const override;
    /// 2024-01-01 00:00:00 UTC and what has passed since.
    std::chrono::system_clock::time_point wall_now() const override;
    /// Moves the clock.
    void sleep_for(std::chrono::milliseconds pause) override { advance(pause); }
    /// Moves the clock in steps of at most 100 ms, until it is woken by something on the way.
    void sleep_for(std::chrono::milliseconds pause, const Wakeup& wakeup) override;
    /// Blocks for real until it is notified or the clock is moved to the deadline.
    bool wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                    time_point deadline) override;

    void advance(std::chrono::milliseconds distance);
    /// On the thread that moves it: before it does, and when a waiter has been woken. Set before other
    /// threads have the clock.
    void watched_by(std::function<void()> before_each, std::function<void()> after_a_wake_up)
    {
        before_each_ = std::move(before_each);
        after_a_wake_up_ = std::move(after_a_wake_up);
    }
    /// What is done when a waiter has been woken, for one that something else than the clock has woken.
    void let_others_work()
    {
        if (after_a_wake_up_) {
            after_a_wake_up_();
        }
    }
    /// This thread blocks no more inside `wait_until`: the others work, which `others_work` awaits, and only
    /// when there was nothing to do (false) does the clock move on to what comes next. Empty: it blocks
    /// again. Set while no other thread has the clock.
    void pass_waits(std::function<bool()> others_work)
    {
        passes_waits_ = std::this_thread::get_id();
        others_work_ = std::move(others_work);
    }
    /// Moves to the next function or deadline and no further, by `limit` at most.
    void advance_to_next(std::chrono::milliseconds limit);
    /// Runs `action` when the clock passes `offset` from now, on the thread that moves it.
    void at(std::chrono::milliseconds offset, std::function<void()> action);
    /// Blocks for real until `count` threads or more are inside their waits, where a notification reaches
    /// them; false when they are not within five seconds.
    bool await_waiters(std::size_t count);

private:
    struct Waiter {
        std::condition_variable* condition;
        std::mutex* mutex; // alive while the waiter is among waiters_
        time_point deadline;
    };

    std::function<void()> before_each_;
    std::function<void()> after_a_wake_up_;
    std::thread::id passes_waits_;
    std::function<bool()> others_work_;

    bool pass(std::unique_lock<std::mutex>& held, time_point deadline);
    time_point next_stop(time_point target) const;
    void run_due_actions();
    void release_due_waiters();
    std::mutex* wake_one_due();

    mutable std::mutex
        mutex_; // guards the rest; taken inside waiters' mutexes, never held while blocking on one
    time_point now_ = time_point(std::chrono::hours(1));
    std::multimap<time_point, std::function<void()>> actions_;
    std::vector<std::shared_ptr<Waiter>> waiters_;
};
