#pragma once

#include "data/defs.hpp"
#include "timer/clock.hpp"

#include <chrono>

/// What the module has said of the network's back-off (+UUNFM of its AT manual). A value without port or
/// clock.
class Backoff {
public:
    /// No network bars for longer; a larger number is garbage.
    static constexpr std::chrono::hours MAX_BACKOFF{24};

    /// A report. Only a running timer of a network domain has a time that counts; of two the later end stays.
    /// Attempts that are used up have none.
    void report(defs::NwFriendlyModeType type, std::chrono::seconds remaining, Clock::time_point now);
    /// The module's answer to the question how long it is barred, which overrules what it reported.
    void answered(std::chrono::seconds remaining, Clock::time_point now);
    /// Whether a report has come since the last question.
    bool take_news();

    /// Whether the last report asks for something.
    bool active() const { return active_; }
    defs::NwFriendlyModeType type() const { return type_; }
    bool is_over(Clock::time_point now) const { return now >= until_; }

    void forget() { *this = Backoff(); }

private:
    defs::NwFriendlyModeType type_ = defs::NwFriendlyModeType::CS_BACKOFF;
    bool active_ = false;
    bool news_ = false;
    Clock::time_point until_{};
};
