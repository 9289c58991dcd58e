#pragma once

#include "unit.hpp"

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

/// One run of a unit: what happens to it, and how that may end.
struct Run {
    std::string name;
    ScriptedPort::Family family = ScriptedPort::Family::SARA;
    std::function<void(Unit&)> what;
    std::set<End> ends; ///< besides CONNECTED, which is always right
};

/// What came of many runs.
struct Tally {
    std::size_t tried = 0;
    std::size_t recovered = 0;
    std::size_t ended = 0; ///< as one of `Run::ends`
    std::size_t short_of = 0;
};

/// Makes each run in a process of its own, since one end is the process', a few at a time. Those that fall
/// short are printed with the end of their log.
Tally prove(const std::vector<Run>& runs);

/// Each command of a cold boot and of a minute of connection with each fault, once at that place.
std::vector<Run> single_faults(ScriptedPort::Family family, unsigned long seed);
/// The same with the fault there for good.
std::vector<Run> lasting_faults(ScriptedPort::Family family, unsigned long seed);
/// Two events in each state, at once and a pass apart; then the world is good again.
std::vector<Run> pairs_of_events(ScriptedPort::Family family, unsigned long seed);
/// Days in which anything happens at any time, and is over after a while. Each day has a seed of its own.
std::vector<Run> days(ScriptedPort::Family family, unsigned long seed);
