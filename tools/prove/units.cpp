#include "events.hpp"
#include "proof.hpp"

#include <utility>

using namespace std::chrono_literals;

namespace {

using Family = Unit::Family;

constexpr auto ON_THE_WAY = 10min;
constexpr auto LASTS = 40s;   // an event: a search is started anew within it where its limit is short
constexpr auto RECOVERY = 1h; // ten resets with all their waits, and a backend that is waited for
constexpr const char* ITS_PIN = R"(+CPIN="4321")";

using Values = std::vector<std::pair<const char*, const char*>>;

void parameters(Unit& unit, const Values& all)
{
    std::string text;
    for (const auto& [key, value] : all) {
        text += std::string(key) + " = " + value + '\n';
    }
    unit.write("/etc/vexa/system_parameters.conf", text);
}

void configure(Unit& unit, const Values& all)
{
    for (const auto& [key, value] : all) {
        unit.configure(key, value);
    }
}

/// Of whatever type the access is (PAP, CHAP, none).
void takes_access(Unit& unit, const std::string& apn, const std::string& user, const std::string& password)
{
    const auto login = "\"" + user + "\",\"" + password + "\"";
    unit.module.answers(R"(+CGDCONT=1,"IP",")" + apn + "\"", "");
    for (const char* type : {"0", "1", "2"}) {
        unit.module.answers(std::string("+UAUTHREQ=1,") + type + ',' + login, "");
        unit.module.answers(
            R"(+UCGDFLT=1,"IP",")" + apn + "\",0,0,0,0,0,0,0,0,0,1,0,0,1,0,0,0,0," + type + ',' + login, "");
    }
}

/// The lock asks for the card in the holder, and there is one.
void external_card(Unit& unit)
{
    unit.holds_external = true;
    unit.lock_asks_for(true);
}

struct Fitting {
    const char* name;
    void (*fit)(Unit&);
    std::set<End> ends{};
};

const std::vector<Fitting> FITTINGS{
    {"a denied external SIM",
     [](Unit& unit) {
         board_says(unit, {{"hasextsim", ""}});
         configure(unit, {{"sim.external.state", "DISABLE"}});
         external_card(unit);
     }},
    {"no internal SIM",
     [](Unit& unit) {
         board_says(unit, {{"hasintsim", "false"}});
         external_card(unit);
     }},
    {"both SIMs denied",
     [](Unit& unit) {
         board_says(unit, {{"hasintsim", ""}, {"hasextsim", ""}});
         configure(unit, {{"sim.internal.state", "DISABLE"}, {"sim.external.state", "DISABLE"}});
     }},
    {"a board that denies both SIMs",
     [](Unit& unit) {
         board_says(unit, {{"hasintsim", "false"}, {"hasextsim", "false"}});
     }},
    {"a PIN of its own",
     [](Unit& unit) {
         configure(unit, {{"sim.external.pin", "4321"}});
         unit.module.answers("+UPINCNT", "+UPINCNT: 3,3,10,10");
         unit.module.answers("+CPIN?", "+CPIN: SIM PIN");
         unit.module.answers(ITS_PIN, "");
         unit.module.on(ITS_PIN, [&unit] { unit.module.answers("+CPIN?", "+CPIN: READY"); });
     }},
    {"an external SIM with its access",
     [](Unit& unit) {
         configure(unit, {{"sim.external.apn", "fleet:CHAP"},
                          {"sim.external.user", "ada"},
                          {"sim.external.password", "secret"}});
         takes_access(unit, "fleet", "ada", "secret");
         external_card(unit);
     }},
    {"access by parameters",
     [](Unit& unit) {
         configure(unit, {{"sim.internal.apn", ""}});
         parameters(unit, {{"41024", "10"},
                           {"41025", "100"},
                           {"8231", "\"net:PAP\""},
                           {"8232", "\"me\""},
                           {"8233", "4711"}});
         takes_access(unit, "net", "me", "4711");
     }},
    {"a lock that is high for the other SIM",
     [](Unit& unit) {
         board_says(unit, {{"hwvariant", "QBX3_1"}});
         unit.lock_active_high = true;
         unit.lock_asks_for(false);
     }},
    {"a diversity antenna",
     [](Unit& unit) {
         board_says(unit, {{"divantenna", "INTERNAL_R08"}});
         parameters(unit, {{"41024", "20"}, {"41025", "200"}, {"41026", "20"}, {"41027", "200"}});
     }},
    {"no bounds for its antenna", [](Unit& unit) { parameters(unit, {}); }},
    {"a weak signal and a slow antenna",
     [](Unit& unit) {
         parameters(unit, {{"41024", "50"}, {"41025", "50"}}); // what it measures is just healthy
         configure(unit, {{"antenna.frequency", "15"},
                          {"antenna.rssi_threshold", "25"},
                          {"antenna.force_check_interval", "1"}});
     }},
    {"a variable that comes late",
     [](Unit& unit) {
         board_says(unit, {{"hwvariant", ""}});
         unit.clock.at(3s, [&unit] { board_says(unit, {}); });
     }},
    {"a backend that is not watched",
     [](Unit& unit) {
         configure(unit, {{"modem_restart_timeout", "0"}});
     }},
    {"short limits",
     [](Unit& unit) {
         configure(unit, {{"nw_search_reattach_timer", "20"},
                          {"nw_search_modem_reset_timer", "60"},
                          {"max_modem_reset", "30"},
                          {"max_sim_errors", "40"},
                          {"modem_restart_timeout", "1"}});
     }},
    {"a limit of one reset",
     [](Unit& unit) {
         configure(unit, {{"max_modem_reset", "1"}, {"max_modem_resets_before_dtc", "1"}});
     },
     {End::HARDWARE_ERROR, End::GIVEN_UP}},
    {"limits that are none",
     [](Unit& unit) {
         configure(unit, {{"nw_search_reattach_timer", "0"},
                          {"max_sim_errors", "many"},
                          {"antenna.frequency", "0"},
                          {"sim.internal.state", "PERHAPS"},
                          {"sim.internal.password", "a\"b"}});
     }},
    {"router mode",
     [](Unit& unit) {
         configure(unit, {{"routermode", "true"}});
     }},
    {"a parameter that says on",
     [](Unit& unit) {
         board_says(unit, {{"hwvariant", "RMX1"}, {"hwversion", "rmx"}});
         parameters(unit, {{"41024", "10"}, {"41025", "100"}, {"41060", "1"}});
     }},
    {"a parameter that says off",
     [](Unit& unit) {
         board_says(unit, {{"hwvariant", "RMX1"}, {"hwversion", "rmx"}});
         parameters(unit, {{"41060", "0"}});
     },
     {End::OFF}},
};

/// One that has to connect first does so; the event lasts; then the world is good again.
void live_with(const Fitting& fitting, const Event& event, Unit& unit)
{
    if (!unit.connects_within(ON_THE_WAY) && fitting.ends.count(unit.end()) == 0) {
        throw std::runtime_error("did not connect to begin with");
    }
    event.happens(unit);
    unit.pass_for(LASTS);
    all_is_good(unit);
    unit.connects_within(RECOVERY);
}

} // namespace

std::vector<Run> each_unit(Family family, unsigned long)
{
    std::vector<Run> runs;
    for (const auto& fitting : FITTINGS) {
        for (const auto& event : all_events()) {
            auto ends = fitting.ends;
            if (is_stop(event)) {
                ends.insert({End::OFF, End::GIVEN_UP});
            }
            const auto what = [&fitting, &event](Unit& unit) { live_with(fitting, event, unit); };
            runs.push_back(
                {name_of(family) + " with " + fitting.name + ": " + event.name, family, what, ends});
            runs.back().kind.fitted = fitting.fit;
            runs.back().all_good = fitting.ends.count(End::OFF) == 0;
        }
    }
    return runs;
}
