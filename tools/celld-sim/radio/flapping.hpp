#pragma once

#include "radio/network.hpp"

#include <chrono>

namespace bench {

/// A network at its edge: what it offers changes to and fro by itself.
class Flapping {
public:
    Flapping(TimerQueue& timers, Network& network) : timers_(timers), network_(network) {}
    ~Flapping() { timers_.cancel(timer_); }
    Flapping(const Flapping&) = delete;
    Flapping& operator=(const Flapping&) = delete;

    /// Registration is lost, and found again, each `period`; begins with a loss.
    void registration(std::chrono::milliseconds period);

    /// The access technology becomes `other`, and again what it was, each `period`.
    void technology(std::chrono::milliseconds period, int other);

    /// Ends either, with what was there before.
    void stop();

private:
    void turn();
    void restart(std::chrono::milliseconds period, void (Flapping::*change)(bool away));
    void change_registration(bool away);
    void change_technology(bool away);

    TimerQueue& timers_;
    Network& network_;
    std::chrono::milliseconds period_{0};
    void (Flapping::*change_)(bool away) = nullptr; ///< null: steady
    bool away_ = false;
    int home_act_ = ACT_UTRAN;
    int other_act_ = ACT_UTRAN;
    Surroundings::Answer home_answer_ = Surroundings::Answer::HOME;
    TimerQueue::Id timer_ = 0;
};

} // namespace bench
