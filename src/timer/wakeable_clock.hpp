#pragma once

#include "timer/clock.hpp"
#include "timer/wakeup.hpp"

/// A clock whose pauses end early when it is woken: for those who pause on behalf of something that a stop or
/// radio silence overtakes. Everything else is the inner clock's.
class WakeableClock final : public Clock {
public:
    WakeableClock(Clock& inner, Wakeup& wakeup) : inner_(inner), wakeup_(wakeup) {}

    time_point now() const override { return inner_.now(); }
    std::chrono::system_clock::time_point wall_now() const override { return inner_.wall_now(); }
    void sleep_for(std::chrono::milliseconds pause) override { inner_.sleep_for(pause, wakeup_); }
    void sleep_for(std::chrono::milliseconds pause, const Wakeup& wakeup) override
    {
        inner_.sleep_for(pause, wakeup);
    }
    bool wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                    time_point deadline) override
    {
        return inner_.wait_until(condition, held, deadline);
    }

private:
    Clock& inner_;
    Wakeup& wakeup_;
};
