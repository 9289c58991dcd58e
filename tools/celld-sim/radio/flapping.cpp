#include "radio/flapping.hpp"

#include <utility>

namespace bench {

void Flapping::registration(std::chrono::milliseconds period)
{
    stop();
    home_answer_ = network_.surroundings().answer;
    restart(period, &Flapping::change_registration);
}

void Flapping::technology(std::chrono::milliseconds period, int other)
{
    stop();
    home_act_ = network_.surroundings().act;
    other_act_ = other;
    restart(period, &Flapping::change_technology);
}

void Flapping::stop()
{
    timers_.cancel(timer_);
    if (const auto change = std::exchange(change_, nullptr); change != nullptr && away_) {
        (this->*change)(false);
    }
    away_ = false;
}

void Flapping::restart(std::chrono::milliseconds period, void (Flapping::*change)(bool away))
{
    period_ = period;
    change_ = change;
    turn();
}

void Flapping::turn()
{
    away_ = !away_;
    (this->*change_)(away_);
    timer_ = timers_.after(period_, [this] { turn(); });
}

void Flapping::change_registration(bool away)
{
    network_.answer(away ? Surroundings::Answer::LOST : home_answer_);
}

void Flapping::change_technology(bool away)
{
    network_.act(away ? other_act_ : home_act_);
}

} // namespace bench
