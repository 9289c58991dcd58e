#include "cut_down.hpp"
#include "events.hpp"
#include "proof.hpp"

#include <iomanip>
#include <iostream>
#include <malloc.h>
#include <random>
#include <sstream>

using namespace std::chrono_literals;

namespace {

using Family = Unit::Family;

constexpr unsigned long DAYS = 40;
constexpr unsigned long ONE_WIRED_IN = 4; // through the daemon's own port: as much happens, with less quiet
constexpr auto A_DAY = 24h;
constexpr auto RECOVERY =
    30min; // the longest back-off, a search started anew, ten resets with all their waits
constexpr std::size_t EPISODES = 60;
constexpr auto LONGEST_QUIET_S = 3600;
constexpr auto LONGEST_QUIET_WIRED_S = 300; // each command takes real time there
constexpr auto LONGEST_TROUBLE_S = 60;
constexpr int MOST_EVENTS = 3;
constexpr std::size_t MOST_TRIES = 300; // to cut a day down

constexpr std::size_t WARMED_UP = 5; // episodes, after which nothing new is learnt
constexpr std::size_t MOST_GROWTH =
    2048UL * 1024; // bytes, in a day: the bus of the process remembers messages

/// A connection for a while; then things happen, each for a while; then all is good.
struct Episode {
    std::chrono::seconds quiet{};
    std::vector<std::pair<const Event*, std::chrono::seconds>> events;
};

std::vector<Episode> a_day(unsigned long number, int longest_quiet_s)
{
    static const auto EVENTS = passing_events();
    std::mt19937 random(static_cast<std::mt19937::result_type>(number));
    const auto up_to = [&random](int most) {
        return std::chrono::seconds(std::uniform_int_distribution(0, most)(random));
    };
    std::vector<Episode> day(EPISODES);
    for (auto& episode : day) {
        episode.quiet = up_to(longest_quiet_s);
        for (int more = std::uniform_int_distribution(1, MOST_EVENTS)(random); more > 0; --more) {
            const auto any = std::uniform_int_distribution<std::size_t>(0, EVENTS.size() - 1)(random);
            episode.events.emplace_back(&EVENTS[any], up_to(LONGEST_TROUBLE_S));
        }
    }
    return day;
}

std::size_t memory_in_use()
{
    return mallinfo2().uordblks;
}

/// False as soon as the unit has not come back from one.
bool live_through(const std::vector<Episode>& day, Unit& unit)
{
    const auto end = unit.clock.now() + A_DAY;
    std::size_t count = 0;
    std::size_t memory = 0;
    for (const auto& episode : day) {
        if (unit.clock.now() >= end) {
            break;
        }
        unit.pass_for(episode.quiet);
        for (const auto& [event, trouble] : episode.events) {
            event->happens(unit);
            unit.pass_for(trouble);
        }
        all_is_good(unit);
        if (!unit.connects_within(RECOVERY)) {
            return false;
        }
        unit.module.forget(); // the commands of a day are no part of the unit
        if (++count == WARMED_UP) {
            memory = memory_in_use();
        }
    }
    if (count > WARMED_UP && memory_in_use() > memory + MOST_GROWTH) {
        unit.watch.breaks("memory", std::to_string(memory_in_use() - memory) + " bytes more within a day");
    }
    return true;
}

Run run_of(Family family, const std::string& name, const std::vector<Episode>& day, bool wired)
{
    Run run{name, family, [day](Unit& unit) { live_through(day, unit); }, {}};
    run.kind.wired = wired;
    return run;
}

/// To replay by eye: what happens, and for how long.
std::string text_of(const std::vector<Episode>& day)
{
    std::ostringstream text;
    for (const auto& episode : day) {
        text << std::setw(6) << episode.quiet.count() << " s connected";
        for (const auto& [event, trouble] : episode.events) {
            text << "; " << event->name << ", " << trouble.count() << " s";
        }
        text << "; all is good\n";
    }
    return text.str();
}

/// Whole episodes first, then the events of those that are left.
std::string shortest(Family family, const std::vector<Episode>& day, bool wired)
{
    const std::function fails = [family, wired](const std::vector<Episode>& some) {
        return falls_short(run_of(family, "", some, wired));
    };
    auto some = cut_down(day, fails, MOST_TRIES);
    for (std::size_t i = 0; i < some.size(); ++i) {
        auto& events = some[i].events;
        using Events = std::decay_t<decltype(events)>;
        const std::function still = [&](const Events& fewer) {
            auto other = some;
            other[i].events = fewer;
            return fails(other);
        };
        events = cut_down(events, still, MOST_TRIES);
    }
    return "cut down to\n" + text_of(some);
}

} // namespace

std::vector<Run> days(Family family, unsigned long seed)
{
    std::vector<Run> runs;
    for (unsigned long number = 0; number < DAYS; ++number) {
        const bool wired = number % ONE_WIRED_IN == 0;
        const auto day = a_day(seed * DAYS + number, wired ? LONGEST_QUIET_WIRED_S : LONGEST_QUIET_S);
        auto run = run_of(
            family, name_of(family) + ", day " + std::to_string(number) + " of seed " + std::to_string(seed),
            day, wired);
        run.explain = [family, day, wired] { return shortest(family, day, wired); };
        runs.push_back(std::move(run));
    }
    return runs;
}
