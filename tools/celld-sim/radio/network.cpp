#include "radio/network.hpp"

#include <utility>

namespace bench {
namespace {

/// A module that loses its cell reports "not registered" first and begins to search a moment later.
constexpr std::chrono::milliseconds SEARCH_AFTER_LOSS{1000};

} // namespace

Network::Network(TimerQueue& timers, std::chrono::milliseconds delay, Surroundings surroundings)
    : timers_(timers), delay_(delay), surroundings_(std::move(surroundings))
{
}

void Network::enable(bool on)
{
    if (std::exchange(enabled_, on) == on) {
        return;
    }
    if (on) {
        search();
    } else {
        timers_.cancel(timer_);
        set(Stat::NOT_REGISTERED, Stat::NOT_REGISTERED, Stat::NOT_REGISTERED);
    }
}

void Network::power_down()
{
    timers_.cancel(timer_);
    enabled_ = false;
    cs_ = ps_ = eps_ = Stat::NOT_REGISTERED;
}

void Network::search()
{
    set(Stat::SEARCHING, Stat::SEARCHING,
        surroundings_.act == ACT_EUTRAN ? Stat::SEARCHING : Stat::NOT_REGISTERED);
    timers_.cancel(timer_);
    timer_ = timers_.after(delay_, [this] { arrive(); });
}

void Network::arrive()
{
    switch (surroundings_.answer) {
    case Surroundings::Answer::HOME:
        set_served(Stat::HOME);
        break;
    case Surroundings::Answer::ROAMING:
        set_served(Stat::ROAMING);
        break;
    case Surroundings::Answer::DENIED:
        set(Stat::DENIED, Stat::DENIED, Stat::DENIED);
        break;
    case Surroundings::Answer::EMERGENCY:
        set_served(
            Stat::EMERGENCY); // of +CREG, too, though the clause knows no such value there: modules say it
        break;
    case Surroundings::Answer::SEARCH:
    case Surroundings::Answer::LOST:
        break; // goes on searching until the surroundings change
    }
}

/// On E-UTRAN the packet service is EPS alone and "+CGREG" says not registered (3GPP TS 27.007, 10.1.20).
void Network::set_served(Stat stat)
{
    const bool lte = surroundings_.act == ACT_EUTRAN;
    set(surroundings_.eps_only ? Stat::NOT_REGISTERED : stat, lte ? Stat::NOT_REGISTERED : stat,
        lte ? stat : Stat::NOT_REGISTERED);
}

void Network::answer(Surroundings::Answer answer)
{
    surroundings_.answer = answer;
    if (!enabled_) {
        return;
    }
    if (answer == Surroundings::Answer::LOST) {
        set(Stat::NOT_REGISTERED, Stat::NOT_REGISTERED, Stat::NOT_REGISTERED);
        timers_.cancel(timer_);
        timer_ = timers_.after(SEARCH_AFTER_LOSS, [this] { search(); });
    } else if (registered() && answer != Surroundings::Answer::SEARCH) {
        arrive(); // another network took over at once
    } else {
        search();
    }
}

void Network::eps_only(bool on)
{
    surroundings_.eps_only = on;
    if (registered()) {
        arrive();
    }
}

void Network::act(int act)
{
    if (std::exchange(surroundings_.act, act) == act || !registered()) {
        return;
    }
    arrive();
    for (const auto domain : {Domain::CS, Domain::PS, Domain::EPS}) {
        if (registered(domain)) {
            tell(domain); // the same stat with another technology is news too
        }
    }
    if (observer_.settled) {
        observer_.settled();
    }
}

void Network::set(Stat cs, Stat ps, Stat eps)
{
    const bool cs_changed = std::exchange(cs_, cs) != cs;
    const bool ps_changed = std::exchange(ps_, ps) != ps;
    const bool eps_changed = std::exchange(eps_, eps) != eps;
    if (cs_changed) {
        tell(Domain::CS);
    }
    if (ps_changed) {
        tell(Domain::PS);
    }
    if (eps_changed) {
        tell(Domain::EPS);
    }
    if ((cs_changed || ps_changed || eps_changed) && observer_.settled) {
        observer_.settled();
    }
}

void Network::tell(Domain domain) const
{
    if (observer_.registration) {
        observer_.registration(domain);
    }
}

Stat Network::stat(Domain domain) const
{
    switch (domain) {
    case Domain::CS:
        return cs_;
    case Domain::PS:
        return ps_;
    case Domain::EPS:
        return eps_;
    }
    return Stat::NOT_REGISTERED;
}

bool Network::registered(Domain domain) const
{
    const auto value = stat(domain);
    return value == Stat::HOME || value == Stat::ROAMING;
}

bool Network::roaming() const
{
    return cs_ == Stat::ROAMING || ps_ == Stat::ROAMING || eps_ == Stat::ROAMING;
}

} // namespace bench
