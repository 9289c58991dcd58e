#pragma once

#include "base/timer_queue.hpp"
#include "radio/sim_card.hpp"

#include <array>
#include <chrono>
#include <functional>

namespace bench {

enum class Slot { INTERNAL = 0, EXTERNAL = 1 }; ///< the level of the module's switch pin

/// The two cards behind the switch and what the module knows of the one that is selected: a card needs a
/// while after it was powered before it answers.
class SimSlots {
public:
    SimSlots(TimerQueue& timers, std::chrono::milliseconds delay, SimCard internal, SimCard external)
        : timers_(timers), delay_(delay), cards_{std::move(internal), std::move(external)}
    {
    }
    ~SimSlots();
    SimSlots(const SimSlots&) = delete;
    SimSlots& operator=(const SimSlots&) = delete;

    /// Called when the selected card becomes usable or stops being so.
    void on_change(std::function<void()> callback) { on_change_ = std::move(callback); }

    /// Powers the card behind the switch; it is busy until the delay has passed.
    void select(Slot slot);
    void power_down();

    Slot selected() const { return selected_; }
    SimCard& card(Slot slot) { return cards_[index(slot)]; }
    SimCard& current() { return card(selected_); }
    const SimCard& current() const { return cards_[index(selected_)]; }

    bool busy() const { return !powered_ || timers_.now() < busy_until_[index(selected_)]; }
    bool ready() const { return !busy() && current().present && current().lock() == SimCard::Lock::READY; }

    /// A card was put into its holder or taken out; the selected one starts anew.
    void insert(Slot slot, bool present);

    /// A card answers nothing but that it is busy for so long, whatever restarts meanwhile.
    void keep_busy(Slot slot, std::chrono::milliseconds time);

    /// PIN attempts left on a card; none: it wants its PUK.
    void pin_attempts(Slot slot, int left);

private:
    static std::size_t index(Slot slot) { return static_cast<std::size_t>(slot); }
    void changed() const;

    TimerQueue& timers_;
    std::chrono::milliseconds delay_;
    std::array<SimCard, 2> cards_;
    std::function<void()> on_change_;
    Slot selected_ = Slot::INTERNAL;
    bool powered_ = false; ///< the selected card has answered its reset
    TimerQueue::Id timer_ = 0;
    std::array<TimerQueue::TimePoint, 2> busy_until_{};
    std::array<TimerQueue::Id, 2> busy_timers_{};
};

} // namespace bench
