#pragma once

#include "base/timer_queue.hpp"

#include <chrono>
#include <optional>

namespace bench {

/// Told by PowerControl when the module comes and goes.
class PowerObserver {
public:
    virtual ~PowerObserver() = default;
    virtual void module_booting() = 0;
    virtual void module_up() = 0;   ///< the firmware runs
    virtual void module_down() = 0; ///< supply, reset, switch-off or a restart took it away, perhaps in the
                                    ///< middle of its boot
};

/// What switches the module on and off, as in the modules' system integration manuals: it boots when it has
/// its supply, is not held in reset and PWR_ON was driven; after +CPWROFF it wants the supply or PWR_ON anew.
class PowerControl {
public:
    enum class State { OFF, BOOTING, ON };

    PowerControl(TimerQueue& timers, std::chrono::milliseconds boot_delay, PowerObserver& observer)
        : timers_(timers), boot_delay_(boot_delay), observer_(observer)
    {
    }
    ~PowerControl() { timers_.cancel(boot_timer_); }
    PowerControl(const PowerControl&) = delete;
    PowerControl& operator=(const PowerControl&) = delete;

    /// The lines change one by one and count together: evaluate() acts once all of a batch are set.
    void set_supply(bool on, bool interrupted);
    void set_power_on(bool high, bool pulsed);
    void set_reset(bool high, bool pulsed);
    void evaluate();

    /// +CPWROFF: off until the supply or PWR_ON come anew.
    void switch_off();

    /// The firmware restarts by itself, with the lines as they are; nothing while the module is off. It boots
    /// as always or, once, in the time given.
    void restart(std::optional<std::chrono::milliseconds> boot_time = {});

    /// How long it boots from now on; nothing: it never ends booting.
    void boot_time(std::optional<std::chrono::milliseconds> time) { boot_delay_ = time; }

    State state() const { return state_; }

private:
    void go_down();
    void boot(std::optional<std::chrono::milliseconds> time);

    TimerQueue& timers_;
    std::optional<std::chrono::milliseconds> boot_delay_; ///< nothing: never ready
    PowerObserver& observer_;
    State state_ = State::OFF;
    TimerQueue::Id boot_timer_ = 0;
    bool supply_ = false;
    bool power_on_ = false;
    bool reset_ = false;
    bool interrupted_ = false;  ///< the supply or the firmware must stop, even if the lines are good again
    bool switched_off_ = false; ///< by +CPWROFF
};

} // namespace bench
