#include "proof.hpp"

#include <random>
#include <tuple>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("prove");

using Family = ScriptedPort::Family;
using State = ModemState;

constexpr const char* PIN_ENTRY = R"(+CPIN="5193")"; // the one of a unit without a PIN of its own

void registration(Unit& unit, const std::string& status)
{
    for (const auto& [query, answer, report] :
         {std::tuple("+CREG?", "+CREG: 2,", "+CREG: "), std::tuple("+CGREG?", "+CGREG: 2,", "+CGREG: "),
          std::tuple("+CEREG?", "+CEREG: 3,", "+CEREG: ")}) {
        unit.module.answers(query, answer + status);
        unit.module.urc(report + status);
    }
}

void context(Unit& unit, bool active)
{
    unit.module.answers("+CGACT?", active ? "+CGACT: 1,1" : "+CGACT: 1,0");
}

void reboot(Unit& unit)
{
    unit.module.present(false);
    unit.clock.at(5s, [&unit] { unit.module.present(true); });
}

void down_for_long(Unit& unit)
{
    unit.backend(false);
    unit.pass_until(16min, [] { return false; });
}

/// For less than what five starts in vain take, which are the hardware's.
void mute(Unit& unit)
{
    unit.module.mute(true);
    unit.clock.at(100s, [&unit] { unit.module.mute(false); });
}

void put_sim_in(Unit& unit)
{
    unit.module.answers("+CPIN?", "+CPIN: READY");
    unit.module.urc("+CIEV: 12,1");
}

/// For less than the errors of the card that are the hardware's.
void pull_sim(Unit& unit)
{
    unit.module.fails("+CPIN?", "+CME ERROR: SIM not inserted");
    unit.module.urc("+CIEV: 12,0");
    unit.clock.at(60s, [&unit] { put_sim_in(unit); });
}

struct Event {
    const char* name;
    void (*what)(Unit&);

    /// Told in the log, which is what a run that falls short shows.
    void happens(Unit& unit) const
    {
        LOG.notice("**** ", name);
        what(unit);
    }
};

const std::vector<Event> EVENTS{
    {"port lost", [](Unit& unit) { unit.module.loop_ended(); }},
    {"port mute", mute},
    {"module rebooted", reboot},
    {"registration lost", [](Unit& unit) { registration(unit, "0"); }},
    {"registration denied", [](Unit& unit) { registration(unit, "3"); }},
    {"back-off 0", [](Unit& unit) { unit.module.urc("+UUNFM: 0,60"); }},
    {"back-off 1", [](Unit& unit) { unit.module.urc("+UUNFM: 1,60"); }},
    {"back-off 2", [](Unit& unit) { unit.module.urc("+UUNFM: 2,60"); }},
    {"context lost", [](Unit& unit) { context(unit, false); }},
    {"SIM pulled", pull_sim},
    {"SIM put in", put_sim_in},
    {"SIM lock moved", [](Unit& unit) { unit.pin(Unit::SIM_LOCK, "0", "in"); }},
    {"PIN wanted",
     [](Unit& unit) {
         unit.module.answers("+UPINCNT", "+UPINCNT: 3,3,10,10");
         unit.module.answers("+CPIN?", "+CPIN: SIM PIN");
         unit.module.answers(PIN_ENTRY, "");
         unit.module.on(PIN_ENTRY, [&unit] { unit.module.answers("+CPIN?", "+CPIN: READY"); });
     }},
    {"blackout on", [](Unit& unit) { unit.blackout({1}); }},
    {"blackout off", [](Unit& unit) { unit.blackout({0}); }},
    {"backend up", [](Unit& unit) { unit.backend(true); }},
    {"backend down", [](Unit& unit) { unit.backend(false); }},
    {"broker lost", [](Unit&) { bus::set_outage(true); }},
    {"backend down for 16 min", down_for_long},
    {"stop",
     [](Unit& unit) {
         unit.modem().stop();
         unit.modem().run(Modem::RunAction::RUN);
         unit.left = true;
     }},
};

void all_is_good(Unit& unit)
{
    LOG.notice("**** all is good");
    bus::set_outage(false);
    unit.module.mute(false);
    unit.module.present(true);
    unit.module.write_error = false;
    unit.pin(Unit::SIM_LOCK, "1", "in");
    for (const std::string name : {"+CREG", "+CGREG", "+CEREG"}) {
        unit.module.answers(name + "?",
                            name + (name == "+CEREG" ? ": 3," : ": 2,") + R"(1,"1A2B","01C3D4E5",7)");
    }
    context(unit, true);
    unit.module.answers("+CPIN?", "+CPIN: READY");
    unit.blackout({0});
    unit.backend(true);
}

/// What holds a unit in a state.
struct Place {
    State state;
    void (*world)(Unit&);
};

void nothing(Unit&) {}

const std::vector<Place> PLACES{
    {State::OFF, [](Unit& unit) { unit.blackout({1}); }},
    {State::WAITING_FOR_ATPORT, [](Unit& unit) { unit.module.present(false); }},
    {State::UNINITIALIZED, nothing},
    {State::INITIALIZED, nothing},
    {State::WAITING_FOR_SIM, nothing},
    {State::REGISTERING, [](Unit& unit) { registration(unit, "0"); }},
    {State::SEARCHING, [](Unit& unit) { registration(unit, "2"); }},
    {State::DISCONNECTED, [](Unit& unit) { registration(unit, "3"); }},
    {State::REGISTERED,
     [](Unit& unit) {
         context(unit, false);
         unit.module.fails("+UCEDATA=1,0", "ERROR");
         unit.module.fails("+CGACT=1,1", "ERROR");
     }},
    {State::ACTIVATE_CONTEXT, [](Unit& unit) { context(unit, false); }},
    {State::CONNECTED, nothing},
    {State::BACKOFF, [](Unit& unit) { unit.module.urc("+UUNFM: 0,600"); }},
    {State::AT_PORT_LOST, [](Unit& unit) { unit.module.loop_ended(); }},
    {State::RESET,
     [](Unit& unit) { unit.modem().prepare_reset(pb::ModemStatus_ModemResetReason_SIM_ERROR); }},
    {State::DTC_HW_ERROR, [](Unit& unit) { unit.modem().set_internal_hw_error_dtc(); }},
};

// The longest back-off, a search that is given up and started anew, ten resets with all their waits.
constexpr auto RECOVERY = 30min;
constexpr auto ON_THE_WAY = 10min;

bool comes_out_of_a_connection(State state)
{
    return state == State::OFF || state == State::BACKOFF || state == State::AT_PORT_LOST ||
           state == State::RESET || state == State::DTC_HW_ERROR;
}

void be_in(const Place& place, Unit& unit)
{
    if (comes_out_of_a_connection(place.state)) {
        unit.connects_within(ON_THE_WAY);
    }
    place.world(unit);
    if (!unit.pass_until(ON_THE_WAY, [&] { return unit.state() == place.state; })) {
        throw std::runtime_error("never came to " + Modem::state_to_str(place.state));
    }
}

void go_through(const Place& place, const Event& first, const Event& second, bool at_once, Unit& unit)
{
    be_in(place, unit);
    first.happens(unit);
    if (!at_once && !unit.left) {
        unit.step();
    }
    if (!unit.left) {
        second.happens(unit);
    }
    for (int pass = 0; pass < 2 && !unit.left; ++pass) {
        unit.step();
    }
    all_is_good(unit);
    unit.module.answers("+UCEDATA=1,0", "");
    unit.module.answers("+CGACT=1,1", "");
    unit.connects_within(RECOVERY);
}

} // namespace

std::vector<Run> pairs_of_events(Family family, unsigned long)
{
    std::vector<Run> runs;
    for (const auto& place : PLACES) {
        for (const auto& first : EVENTS) {
            for (const auto& second : EVENTS) {
                for (const bool at_once : {true, false}) {
                    const auto what = [&, at_once](Unit& unit) {
                        go_through(place, first, second, at_once, unit);
                    };
                    const bool stopped = &first == &EVENTS.back() || &second == &EVENTS.back();
                    std::set<End> ends;
                    if (stopped) {
                        ends = {End::OFF, End::GIVEN_UP};
                    }
                    // What lasts for a quarter of an hour may be the hardware's.
                    const bool lasted = first.what == down_for_long || second.what == down_for_long;
                    if (place.state == State::DTC_HW_ERROR || lasted) {
                        ends.insert(End::HARDWARE_ERROR);
                    }
                    runs.push_back({(family == Family::SARA ? "SARA in " : "TOBY in ") +
                                        Modem::state_to_str(place.state) + ": " + first.name +
                                        (at_once ? " and " : ", then ") + second.name,
                                    family, what, ends});
                }
            }
        }
    }
    return runs;
}

std::vector<Run> days(Family family, unsigned long seed)
{
    constexpr unsigned long DAYS = 30;
    constexpr auto LONGEST_QUIET_S = 3600;
    constexpr auto LONGEST_TROUBLE_S = 60;
    std::vector<Run> runs;
    for (unsigned long day = 0; day < DAYS; ++day) {
        const auto what = [number = seed * DAYS + day](Unit& unit) {
            std::mt19937 random(static_cast<std::mt19937::result_type>(number));
            const auto up_to = [&random](int most) {
                return std::chrono::seconds(std::uniform_int_distribution(0, most)(random));
            };
            const auto any = [&random]() -> const Event& { // but the last two: what lasts so long may be the
                                                           // hardware's, and a stop is the end
                return EVENTS[std::uniform_int_distribution<std::size_t>(0, EVENTS.size() - 3)(random)];
            };
            const auto never = [] { return false; };
            const auto end = unit.clock.now() + 24h;
            while (unit.clock.now() < end && !unit.left) {
                unit.pass_until(up_to(LONGEST_QUIET_S), never);
                for (int more = std::uniform_int_distribution(1, 3)(random); more > 0; --more) {
                    any().happens(unit);
                    unit.pass_until(up_to(LONGEST_TROUBLE_S), never);
                }
                all_is_good(unit);
                if (!unit.connects_within(RECOVERY)) {
                    return;
                }
            }
        };
        runs.push_back({(family == Family::SARA ? "SARA" : "TOBY") + std::string(", day ") +
                            std::to_string(day) + " of seed " + std::to_string(seed),
                        family,
                        what,
                        {}});
    }
    return runs;
}
