#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

class Wakeup;

/// The only door to time: everything that waits or measures gets one of these, so that a test can let half an
/// hour pass in milliseconds. Any thread.
class Clock {
public:
    using time_point = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;

    /// Steady, never jumps.
    virtual time_point now() const = 0;
    /// The wall clock, which may jump: for texts only.
    virtual std::chrono::system_clock::time_point wall_now() const = 0;
    virtual void sleep_for(std::chrono::milliseconds pause) = 0;
    /// The same, but ends as soon as it is woken.
    virtual void sleep_for(std::chrono::milliseconds pause, const Wakeup& wakeup) = 0;
    /// Waits once for a notification or `deadline`, whichever comes first; false when the deadline has
    /// passed. A spurious wake-up counts as a notification. `held` is locked again on return.
    virtual bool wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                            time_point deadline) = 0;
};

/// The machine's own clocks.
class SystemClock final : public Clock {
public:
    static SystemClock& instance();

    time_point now() const override;
    std::chrono::system_clock::time_point wall_now() const override;
    void sleep_for(std::chrono::milliseconds pause) override;
    void sleep_for(std::chrono::milliseconds pause, const Wakeup& wakeup) override;
    bool wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                    time_point deadline) override;
};
