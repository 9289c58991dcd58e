#include "board/power.hpp"

#include <utility>

namespace bench {

void PowerControl::set_supply(bool on, bool interrupted)
{
    if (!on || interrupted) {
        interrupted_ = true;
        switched_off_ = false;
    }
    supply_ = on;
}

void PowerControl::set_power_on(bool high, bool pulsed)
{
    const bool rising = high && (!power_on_ || pulsed);
    power_on_ = high;
    if (rising) {
        switched_off_ = false;
    }
}

void PowerControl::set_reset(bool high, bool pulsed)
{
    interrupted_ = interrupted_ || high || pulsed;
    reset_ = high;
}

void PowerControl::evaluate()
{
    if (std::exchange(interrupted_, false)) {
        go_down();
    }
    const bool wanted = supply_ && !reset_ && power_on_ && !switched_off_;
    if (state_ == State::OFF && wanted) {
        boot(boot_delay_);
    }
}

void PowerControl::switch_off()
{
    switched_off_ = true;
    go_down();
}

void PowerControl::restart(std::optional<std::chrono::milliseconds> boot_time)
{
    if (state_ != State::OFF) {
        go_down();
        boot(boot_time && boot_delay_ ? boot_time : boot_delay_);
    }
}

void PowerControl::go_down()
{
    timers_.cancel(boot_timer_);
    if (std::exchange(state_, State::OFF) != State::OFF) {
        observer_.module_down();
    }
}

void PowerControl::boot(std::optional<std::chrono::milliseconds> time)
{
    state_ = State::BOOTING;
    observer_.module_booting();
    if (!time) {
        return;
    }
    boot_timer_ = timers_.after(*time, [this] {
        state_ = State::ON;
        observer_.module_up();
    });
}

} // namespace bench
