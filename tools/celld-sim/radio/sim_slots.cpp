#include "radio/sim_slots.hpp"

namespace bench {

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

void SimSlots::changed() const
{
    if (on_change_) {
        on_change_();
    }
}

} // namespace bench
