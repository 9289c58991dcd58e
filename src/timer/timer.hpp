#pragma once

#include "timer/clock.hpp"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <thread>
#include <threads/mutex.hpp>

/// One-shot timer: runs a callback once, whole seconds after its start, on a thread of its own, unless it is
/// stopped first. Every start makes a new thread; `stop` wakes and joins it. Logs on "celld.timer".
///
/// Owned and driven by one thread; `active()` and `waiting()` may be asked from any. The callback runs with
/// the timer's mutex held and must not stop or restart its own timer.
class Timer {
public:
    explicit Timer(Clock& clock = SystemClock::instance());
    explicit Timer(std::function<void()> callback, Clock& clock = SystemClock::instance());
    Timer(std::function<void()> callback, unsigned int seconds, Clock& clock = SystemClock::instance());
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer();

    bool start();
    /// False (logged) for a duration of 0 or without a callback. Starting a timer whose last thread was not
    /// joined by `stop` ends the process.
    bool start(unsigned int seconds);
    /// Stops first, always. The given callback serves this start only.
    bool start(std::function<void()> callback, unsigned int seconds);

    /// Notifies, then joins. The notification is sent without the mutex: one that comes before the thread has
    /// begun to wait is lost, and `stop` then returns only after the whole duration, the callback having run.
    /// A caller that may stop a timer it has only just started asks `waiting()` first.
    void stop();

    /// From a successful start until the duration has passed or the timer is stopped.
    bool active() const;
    /// Whether the thread of the last start is inside its wait, where a `stop` reaches it.
    bool waiting() const;

private:
    void executing(unsigned int seconds, const std::function<void()>& callback);
    bool launch(std::function<void()> callback, unsigned int seconds);

    Clock& clock_;
    mutable threads::Mutex mutex_; // held by the timer thread while it waits and while it runs the callback
    std::condition_variable cond_;
    std::atomic<bool> active_{false};
    bool waiting_ THREADS_GUARDED_BY(mutex_) = false;
    std::thread thread_;
    std::function<void()> callback_;
    unsigned int duration_ = 0; // seconds
};
