#pragma once

#include "unit.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// One run of a unit: what happens to it, and how that may end.
struct Run {
    std::string name;
    ScriptedPort::Family family = ScriptedPort::Family::SARA;
    std::function<void(Unit&)> what;
    std::set<End> ends;   ///< besides CONNECTED, which is always right
    bool all_good = true; ///< in the end: then all that is told is as if nothing had been
    Unit::Kind kind{};
    std::string fault{};                    ///< its kind, when it is one fault
    std::function<std::string()> explain{}; ///< asked when it has fallen short, for what more there is to say
};

/// What one fault of its kind has cost.
struct Measured {
    std::string run;
    std::string fault;
    ScriptedPort::Family family = ScriptedPort::Family::SARA;
    Recovery recovery;
};

/// What came of many runs.
struct Tally {
    std::size_t tried = 0;
    std::size_t recovered = 0;
    std::size_t ended = 0; ///< as one of `Run::ends`
    std::size_t short_of = 0;
    std::map<std::string, std::uint64_t> roads; ///< by the name of the run; none of those in real time
    std::vector<Measured> recoveries;           ///< of the runs that are one fault
};

/// What one run came to.
struct Outcome {
    End end = End::ELSEWHERE;
    Recovery recovery;
    std::uint64_t road = 0;
    std::string text; ///< what there is to say of one that fell short
};

/// Nothing when the run is no fault, or did not come back.
std::optional<Measured> measured(const Run& run, const Outcome& outcome);

/// Makes each run in a process of its own, since one end is the process', a few at a time.
void make(const std::vector<Run>& runs, const std::function<void(const Run&, const Outcome&)>& done);

/// The same; those that fall short are printed with the end of their log.
Tally prove(const std::vector<Run>& runs);
/// The same with one, and nothing is printed.
bool falls_short(const Run& run);

/// Radio silence ordered at each command of the same, whatever becomes of the command and the broker.
std::vector<Run> radio_silence(ScriptedPort::Family family, unsigned long seed);
/// Each command of a cold boot and of a minute of connection with each fault, once at that place.
std::vector<Run> single_faults(ScriptedPort::Family family, unsigned long seed);
/// The same with the fault there for good.
std::vector<Run> lasting_faults(ScriptedPort::Family family, unsigned long seed);
/// Each command of the same with each fault that its answer can have on the line, once, through the daemon's
/// own port.
std::vector<Run> faults_on_the_line(ScriptedPort::Family family, unsigned long seed);
/// Brokers that are absent, late, or bad, and floods: in real time, where it is the broker's.
std::vector<Run> bus_side(ScriptedPort::Family family, unsigned long seed);
/// Two events in each state, at once and a pass apart; then the world is good again.
std::vector<Run> pairs_of_events(ScriptedPort::Family family, unsigned long seed);
/// Each event that may come, in a connection of units that are configured and fitted in other ways.
std::vector<Run> each_unit(ScriptedPort::Family family, unsigned long seed);
/// Days in which anything happens at any time, and is over after a while. Each day has a seed of its own.
std::vector<Run> days(ScriptedPort::Family family, unsigned long seed);
