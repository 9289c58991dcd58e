#include "events.hpp"

#include <algorithm>
#include <filesystem>
#include <tuple>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("prove");

using Family = Unit::Family;

constexpr const char* PIN_ENTRY = R"(+CPIN="5193")"; // the one of a unit without a PIN of its own

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

void stop(Unit& unit)
{
    unit.stop();
}

void attempts_left(Unit& unit, int count)
{
    unit.watch.pin_attempts(count);
    unit.module.answers("+UPINCNT", "+UPINCNT: " + std::to_string(count) + ",3,10,10");
}

/// A card that takes the configured PIN, which makes its attempts whole again.
void want_pin(Unit& unit)
{
    attempts_left(unit, Watch::PIN_ATTEMPTS);
    unit.module.answers("+CPIN?", "+CPIN: SIM PIN");
    unit.module.answers(PIN_ENTRY, "");
    unit.module.on(PIN_ENTRY, [&unit] { unit.module.answers("+CPIN?", "+CPIN: READY"); });
}

void put_sim_in(Unit& unit)
{
    unit.card_bad = false;
    unit.module.answers("+CPIN?", "+CPIN: READY");
    unit.module.urc("+CIEV: 12,1");
}

void good_card(Unit& unit)
{
    if (unit.card_bad) {
        put_sim_in(unit);
    }
}

/// For less than the errors of the card that are the hardware's.
void bad_card(Unit& unit)
{
    unit.card_bad = true;
    unit.clock.at(60s, [&unit] { good_card(unit); });
}

/// A card that refuses the configured PIN, and counts.
void wrong_pin(Unit& unit)
{
    bad_card(unit);
    attempts_left(unit, unit.watch.pin_attempts());
    unit.module.answers("+CPIN?", "+CPIN: SIM PIN");
    unit.module.fails(PIN_ENTRY, "+CME ERROR: incorrect password");
    unit.module.on(PIN_ENTRY, [&unit] { attempts_left(unit, unit.watch.pin_attempts() - 1); });
    unit.module.urc("+CIEV: 12,1");
}

/// For less than what five starts in vain take, which are the hardware's.
void mute(Unit& unit)
{
    unit.module.mute(true);
    unit.clock.at(100s, [&unit] { unit.module.mute(false); });
}

void pull_sim(Unit& unit)
{
    bad_card(unit);
    unit.module.fails("+CPIN?", "+CME ERROR: SIM not inserted");
    unit.module.urc("+CIEV: 12,0");
}

/// A network that says why, where the module hands that on (3GPP TS 27.007, 10.1.29).
void deny(Unit& unit)
{
    registered_as(unit, "3");
    if (unit.family == Family::TOBY) {
        unit.module.answers("+CEREG?", "+CEREG: 3,3,,,,0,15");
        unit.module.urc("+CEREG: 3,,,,0,15");
    }
}

/// Neither a lie nor a loss: nothing in it can be read, so nothing may come of it.
void babble(Unit& unit)
{
    for (const char* report : {"+UUNFM: x", "+UUNFM: 9,-1", "+CREG: ", R"(+CGREG: ,"1A2B)", "+CEREG: x",
                               "+CIEV: 2", "+CIEV: 12,z", "+UGPIOR: ,", "RDY"}) {
        unit.module.urc(report);
    }
    for (const char* topic : {"be/status", "rt/system/blackout_mode"}) {
        unit.modem().message(topic, ecu::kova::com::Message({0x00, 0xff, 0x0a}));
        unit.modem().message(topic, ecu::kova::com::Message());
    }
}

/// Two periods of the antenna's, and what is asked for every 20 seconds.
constexpr auto ALL_ASKED = 25s;
/// Less than the shortest limit of a search among the units.
constexpr auto SEARCH = 45s;
constexpr int SEARCHES = 3; // in all more than what a unit of short limits bears without a connection

void for_a_while(Unit& unit)
{
    unit.pass_until(ALL_ASKED, [] { return false; });
}

/// As at the beginning: a SARA on UTRAN, a TOBY on E-UTRAN, where "+CGREG" knows no registration.
void registered_at_home(Unit& unit)
{
    const bool lte = unit.family == Family::TOBY;
    const std::string cell = R"(1,"1A2B","01C3D4E5",)";
    unit.module.answers("+UREG?", lte ? "+UREG: 1,7" : "+UREG: 1,3");
    unit.module.answers("+UDOPN=0", R"(+UDOPN: 0,"26201")");
    unit.module.answers("+UDOPN=2", R"(+UDOPN: 2,"Home, sweet")");
    unit.module.answers("+CREG?", "+CREG: 2," + cell + (lte ? "7" : "2"));
    unit.module.answers("+CGREG?", lte ? "+CGREG: 2,0" : "+CGREG: 2," + cell + "2,1");
    if (lte) {
        unit.module.answers("+CEREG?", "+CEREG: 3," + cell + "7");
    }
}

/// Each time for less than a search may take; what one has used up is the next one's again.
void network_comes_and_goes(Unit& unit)
{
    for (int round = 0; round < SEARCHES; ++round) {
        registered_as(unit, "2");
        unit.pass_until(SEARCH, [] { return false; });
        registered_at_home(unit);
        for_a_while(unit);
    }
}

/// Another network, and then none that can be named. Its area is one that might be a number of another kind.
void abroad(Unit& unit)
{
    const bool lte = unit.family == Family::TOBY;
    const std::string cell = R"(5,"0012","01C3D4E6",)";
    unit.module.answers("+CREG?", "+CREG: 2," + cell + (lte ? "7" : "0"));
    unit.module.answers("+CGREG?", lte ? "+CGREG: 2,0" : "+CGREG: 2," + cell + "0,1");
    unit.module.answers("+CEREG?", lte ? "+CEREG: 3," + cell + "7" : "");
    unit.module.answers("+UREG?", "+UREG: 1,1");
    unit.module.urc(R"(+CREG: 5,"0012","01C3D4E6",0)");
    unit.module.answers("+UDOPN=0", R"(+UDOPN: 0,"310410")");
    unit.module.answers("+UDOPN=2", R"(+UDOPN: 2,"Abroad")");
    for_a_while(unit);
    unit.module.answers("+UDOPN=0", R"(+UDOPN: 0,"nowhere")");
    unit.module.fails("+UDOPN=2", "+CME ERROR: no network service");
    for_a_while(unit);
}

/// One that refuses the PIN is changed for one that takes it.
void change_card(Unit& unit)
{
    wrong_pin(unit);
    for_a_while(unit);
    pull_sim(unit);
    for_a_while(unit);
    unit.card_bad = false;
    want_pin(unit);
    unit.module.urc("+CIEV: 12,1");
    for_a_while(unit);
}

/// First torn off, then shorted; and the signal is weak.
void antenna_broken(Unit& unit)
{
    unit.module.answers("+CSQ", "+CSQ: 3,99");
    unit.module.urc("+CIEV: 2,1");
    unit.module.answers("+UANTR=0", "+UANTR: 0,2000");
    for_a_while(unit);
    unit.module.answers("+CSQ", "+CSQ: 99,99");
    unit.module.urc("+CIEV: 2,0");
    unit.module.answers("+UANTR=0", "+UANTR: 0,0");
    for_a_while(unit);
}

void antenna_mended(Unit& unit)
{
    unit.module.answers("+CSQ", "+CSQ: 20,99");
    unit.module.answers("+UANTR=0", "+UANTR: 0,50");
    unit.module.urc("+CIEV: 2,4");
}

/// The lock asks for a card that is not there.
void empty_holder(Unit& unit)
{
    unit.module.answers("+UGPIOR=42", "+UGPIOR: 42,0");
    unit.lock_asks_for(true);
}

/// Then for the other one, and then for one that is there.
void holder_empty_for_a_while(Unit& unit)
{
    empty_holder(unit);
    for_a_while(unit);
    unit.lock_asks_for(false);
    for_a_while(unit);
    unit.module.answers("+UGPIOR=42", "+UGPIOR: 42,1");
    unit.lock_asks_for(true);
    for_a_while(unit);
}

/// Its line cannot be written: a device that is full stands in its place.
void supply_sticks(Unit& unit, bool sticks)
{
    const std::filesystem::path line = unit.path("/sys/class/gpio/gpio3/value");
    const auto aside = line.string() + ".aside";
    if (sticks != std::filesystem::exists(aside)) {
        if (sticks) {
            std::filesystem::rename(line, aside);
            std::filesystem::create_symlink("/dev/full", line);
        } else {
            std::filesystem::rename(aside, line);
        }
    }
    unit.watch.supply_sticks(sticks);
}

/// More than the minute after which a supply that sticks is said again.
constexpr auto SAID_AGAIN = 70s;

void stuck_in_silence(Unit& unit)
{
    supply_sticks(unit, true);
    unit.blackout(true);
    unit.pass_until(SAID_AGAIN, [] { return false; });
}

const std::vector<Event> EVENTS{
    {"port lost", [](Unit& unit) { unit.module.loop_ended(); }},
    {"port mute", mute},
    {"port unwritable", [](Unit& unit) { unit.module.write_error = true; }}, // until it is opened anew
    {"module rebooted", reboot},
    {"registration lost", [](Unit& unit) { registered_as(unit, "0"); }},
    {"registration denied", deny},
    {"back-off 0", [](Unit& unit) { unit.module.urc("+UUNFM: 0,60"); }},
    {"back-off 1", [](Unit& unit) { unit.module.urc("+UUNFM: 1,60"); }},
    {"back-off 2", [](Unit& unit) { unit.module.urc("+UUNFM: 2,60"); }},
    {"back-off 3", [](Unit& unit) { unit.module.urc("+UUNFM: 3,60"); }},
    {"garbage reported", babble}, // by module and bus
    {"attempts used up", [](Unit& unit) { unit.module.urc("+UUNFM: 5"); }},
    {"context lost", [](Unit& unit) { context_is(unit, false); }},
    {"SIM pulled", pull_sim},
    {"SIM put in", put_sim_in},
    {"SIM lock moved", [](Unit& unit) { unit.lock_asks_for(!unit.holds_external); }},
    {"holder empty", empty_holder},
    {"PIN wanted", want_pin},
    {"wrong PIN", wrong_pin},
    {"PUK wanted",
     [](Unit& unit) {
         unit.module.answers("+CPIN?", "+CPIN: SIM PUK");
         unit.module.urc("+CIEV: 12,1");
     }},
    {"blackout on", [](Unit& unit) { unit.blackout(true); }},
    {"blackout off", [](Unit& unit) { unit.blackout(false); }},
    {"backend up", [](Unit& unit) { unit.backend(true); }},
    {"backend down", [](Unit& unit) { unit.backend(false); }},
    {"broker lost", [](Unit&) { bus::set_outage(true); }},
    {"supply stuck", [](Unit& unit) { supply_sticks(unit, true); }},
    {"supply stuck in radio silence", stuck_in_silence, true},
    {"card changed", change_card, true},
    {"holder empty for a while", holder_empty_for_a_while, true},
    {"network away three times", network_comes_and_goes, true},
    {"abroad", abroad, true},
    {"antenna broken", antenna_broken, true},
    {"backend down for 16 min", down_for_long, true},
    {"stop", stop},
};

} // namespace

void board_says(Unit& unit, const std::map<std::string, std::string>& own)
{
    auto all = own;
    all.merge(std::map<std::string, std::string>{{"hwvariant", "QBX2"},
                                                 {"modemtype", "SARA"},
                                                 {"hasintsim", "true"},
                                                 {"hasextsim", "true"},
                                                 {"divantenna", "NONE"},
                                                 {"hwversion", "qbx"}});
    std::string text;
    for (const auto& [key, value] : all) {
        text.append(key).append(" = ").append(value).append("\n");
    }
    unit.write("/etc/vexa/ecu_variables.conf", text);
}

void registered_as(Unit& unit, const std::string& status)
{
    for (const auto& [query, answer, report] :
         {std::tuple("+CREG?", "+CREG: 2,", "+CREG: "), std::tuple("+CGREG?", "+CGREG: 2,", "+CGREG: "),
          std::tuple("+CEREG?", "+CEREG: 3,", "+CEREG: ")}) {
        unit.module.answers(query, answer + status);
        unit.module.urc(report + status);
    }
}

void context_is(Unit& unit, bool active)
{
    unit.module.answers("+CGACT?", active ? "+CGACT: 1,1" : "+CGACT: 1,0");
}

void all_is_good(Unit& unit)
{
    LOG.notice("**** all is good");
    bus::set_outage(false);
    unit.module.mute(false);
    unit.module.present(true);
    unit.module.write_error = false;
    supply_sticks(unit, false);
    unit.lock_asks_for(unit.holds_external);
    unit.module.answers("+UGPIOR=42", "+UGPIOR: 42,1");
    antenna_mended(unit);
    registered_at_home(unit);
    context_is(unit, true);
    unit.module.answers("+CPIN?", "+CPIN: READY");
    unit.module.on(PIN_ENTRY, [] {});
    good_card(unit);
    unit.blackout(false);
    unit.backend(true);
}

void Event::happens(Unit& unit) const
{
    LOG.notice("**** ", name);
    what(unit);
}

const std::vector<Event>& all_events()
{
    return EVENTS;
}

std::vector<Event> passing_events()
{
    auto events = EVENTS;
    std::erase_if(events, [](const Event& event) { return is_long(event) || is_stop(event); });
    return events;
}

bool is_long(const Event& event)
{
    return event.what == down_for_long;
}

bool is_stop(const Event& event)
{
    return event.what == stop;
}
