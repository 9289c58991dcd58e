#include "radio/sim_slots.hpp"

namespace bench {

SimSlots::~SimSlots()
{
    timers_.cancel(timer_);
    for (const auto timer : busy_timers_) {
        timers_.cancel(timer);
    }
}

void SimSlots::select(Slot slot)
{
    timers_.cancel(timer_);
    selected_ = slot;
    powered_ = false;
    current().power_up();
    changed();
    timer_ = timers_.after(delay_, [this] {
        powered_ = true;
        changed();
    });
}

void SimSlots::power_down()
{
    timers_.cancel(timer_);
    powered_ = false;
}

void SimSlots::insert(Slot slot, bool present)
{
    card(slot).present = present;
    if (slot == selected_) {
        select(slot);
    }
}

void SimSlots::keep_busy(Slot slot, std::chrono::milliseconds time)
{
    auto& timer = busy_timers_[index(slot)];
    timers_.cancel(timer);
    busy_until_[index(slot)] = timers_.now() + time;
    timer = timers_.after(time, [this] { changed(); });
    changed();
}

void SimSlots::pin_attempts(Slot slot, int left)
{
    card(slot).pin_attempts(left);
    changed();
}

void SimSlots::changed() const
{
    if (on_change_) {
        on_change_();
    }
}

} // namespace bench
