#include "events.hpp"
#include "proof.hpp"

using namespace std::chrono_literals;

namespace {

using Family = Unit::Family;
using State = Unit::State;

// The longest back-off, a search that is given up and started anew, ten resets with all their waits.
constexpr auto RECOVERY = 30min;
constexpr auto ON_THE_WAY = 10min;

/// Through the daemon's own port, which takes several times as long.
constexpr std::size_t ONE_WIRED_IN = 31;

/// What holds a unit in a state.
struct Place {
    State state;
    void (*world)(Unit&);
    bool within_a_pass = false; ///< the first event comes in the middle of the one in which the state is
};

void nothing(Unit&) {}

void no_context_comes(Unit& unit)
{
    context_is(unit, false);
    unit.module.fails("+UCEDATA=1,0", "ERROR");
    unit.module.fails("+CGACT=1,1", "ERROR");
}

void contexts_come(Unit& unit)
{
    unit.module.answers("+UCEDATA=1,0", "");
    unit.module.answers("+CGACT=1,1", "");
}

// But for CONFIGURED, which is left at once: nothing can happen in it.
const std::vector<Place> PLACES{
    {State::OFF, [](Unit& unit) { unit.blackout(true); }},
    {State::POWER_ON, nothing, true},
    {State::POWER_OFF, [](Unit& unit) { unit.blackout(true); }, true},
    {State::WAITING_FOR_ATPORT, [](Unit& unit) { unit.module.present(false); }},
    {State::UNINITIALIZED, nothing},
    {State::INITIALIZED, nothing},
    {State::WAITING_FOR_SIM, nothing},
    {State::REGISTERING, [](Unit& unit) { registered_as(unit, "0"); }},
    {State::SEARCHING, [](Unit& unit) { registered_as(unit, "2"); }},
    {State::DISCONNECTED, [](Unit& unit) { registered_as(unit, "3"); }},
    {State::REGISTERED, no_context_comes},
    {State::ACTIVATE_CONTEXT, [](Unit& unit) { context_is(unit, false); }},
    {State::CONNECTED, nothing},
    {State::BACKOFF, [](Unit& unit) { unit.module.urc("+UUNFM: 0,600"); }},
    {State::AT_PORT_LOST, [](Unit& unit) { unit.module.loop_ended(); }},
    {State::RESET,
     [](Unit& unit) { unit.modem().prepare_reset(pb::ModemStatus_ModemResetReason_SIM_ERROR); }},
    {State::RESET, [](Unit& unit) { unit.modem().prepare_reset(pb::ModemStatus_ModemResetReason_SIM_ERROR); },
     true},
    {State::DTC_HW_ERROR, [](Unit& unit) { unit.modem().set_internal_hw_error_dtc(); }},
};

bool comes_out_of_a_connection(State state)
{
    return state == State::OFF || state == State::POWER_OFF || state == State::BACKOFF ||
           state == State::AT_PORT_LOST || state == State::RESET || state == State::DTC_HW_ERROR;
}

/// Two events, and when.
struct Pair {
    const Event& first;
    const Event& second;
    bool at_once; ///< or a pass apart

    bool has(bool (*kind)(const Event&)) const { return kind(first) || kind(second); }
    /// So long that a port which does not come meanwhile is the hardware's.
    bool lasts_for_minutes() const { return has(is_long) || (first.lasts && second.lasts); }
};

void lead_to(const Place& place, Unit& unit)
{
    if (comes_out_of_a_connection(place.state)) {
        unit.connects_within(ON_THE_WAY);
    }
    place.world(unit);
}

[[noreturn]] void never_came(const Place& place)
{
    throw std::runtime_error("never came to " + Modem::state_to_str(place.state));
}

/// While the unit's own thread is in the middle of its pass.
void happen_within(const Place& place, const Pair& pair, Unit& unit)
{
    bool there = false;
    unit.watch.on_look([&] {
        if (!there && unit.state() == place.state) {
            there = true; // first: what happens may let time pass
            pair.first.happens(unit);
            if (pair.at_once) {
                pair.second.happens(unit);
            }
        }
    });
    lead_to(place, unit);
    unit.pass_until(ON_THE_WAY, [&there] { return there; });
    unit.watch.on_look({});
    if (!there) {
        never_came(place);
    }
}

void happen_between(const Place& place, const Pair& pair, Unit& unit)
{
    lead_to(place, unit);
    if (!unit.pass_until(ON_THE_WAY, [&] { return unit.state() == place.state; })) {
        never_came(place);
    }
    pair.first.happens(unit);
    if (pair.at_once) {
        pair.second.happens(unit);
    }
}

void go_through(const Place& place, const Pair& pair, Unit& unit)
{
    (place.within_a_pass ? happen_within : happen_between)(place, pair, unit);
    if (!pair.at_once && !unit.left) {
        unit.step();
        if (!unit.left) {
            pair.second.happens(unit);
        }
    }
    for (int pass = 0; pass < 2 && !unit.left; ++pass) {
        unit.step();
    }
    all_is_good(unit);
    contexts_come(unit);
    unit.connects_within(RECOVERY);
}

std::set<End> ends(const Place& place, const Pair& pair)
{
    std::set<End> ends;
    if (pair.has(is_stop)) {
        ends = {End::OFF, End::GIVEN_UP};
    }
    if (place.state == State::DTC_HW_ERROR ||
        (place.state == State::WAITING_FOR_ATPORT && pair.lasts_for_minutes())) {
        ends.insert(End::HARDWARE_ERROR);
    }
    return ends;
}

std::string name(Family family, State state, bool within, const Pair& pair)
{
    return name_of(family) + (within ? " within " : " in ") + Modem::state_to_str(state) + ": " +
           pair.first.name + (pair.at_once ? " and " : ", then ") + pair.second.name;
}

/// A board without a modem is left alone whatever comes.
void without_a_modem(Family family, const Pair& pair, std::vector<Run>& runs)
{
    const auto what = [pair](Unit& unit) {
        unit.step();
        pair.first.happens(unit);
        pair.second.happens(unit);
        unit.pass_for(1min);
        if (!unit.module.sent().empty()) {
            throw std::runtime_error("a board without a modem was sent AT" + unit.module.sent().front());
        }
    };
    const auto ends = pair.has(is_stop) ? std::set{End::OFF, End::GIVEN_UP} : std::set{End::NO_HARDWARE};
    runs.push_back({name(family, State::NO_MODEM_HARDWARE, false, pair), family, what, ends, false});
    runs.back().kind.fitted = [](Unit& unit) { board_says(unit, {{"modemtype", "NONE"}}); };
}

} // namespace

std::vector<Run> pairs_of_events(Family family, unsigned long)
{
    std::vector<Run> runs;
    for (const auto& first : all_events()) {
        for (const auto& second : all_events()) {
            for (const auto& place : PLACES) {
                if (place.within_a_pass && (first.lasts || second.lasts)) {
                    continue;
                }
                for (const bool at_once : {true, false}) {
                    const Pair pair{first, second, at_once};
                    const auto what = [&place, pair](Unit& unit) { go_through(place, pair, unit); };
                    runs.push_back({name(family, place.state, place.within_a_pass, pair), family, what,
                                    ends(place, pair)});
                }
            }
            without_a_modem(family, {first, second, true}, runs);
        }
    }
    for (std::size_t i = 0; i < runs.size(); i += ONE_WIRED_IN) {
        runs[i].kind.wired = true;
    }
    return runs;
}
