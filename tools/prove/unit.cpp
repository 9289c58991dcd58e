#include "unit.hpp"

#include "describe.hpp"
#include "record/journal_file.hpp"

#include <iterator>
#include <sstream>
#include <stdexcept>

using namespace std::chrono_literals;

namespace {

constexpr auto ON_THE_WAY = 10min;
constexpr auto ALL_TOLD = 45s; // the operator is asked for every 20 seconds, the status told every ten

constexpr const char* TOLD[] = {
    "system/modem/status",
    "system/modem/hardware",
    "system/modem/sim",
    "system/modem/registration",
    "rt/system/modem_creg",
    "rt/system/status_ext_sim_card_pin_locked",
    "rt/system/modem_rssi",
    "rt/system/status_cellular_antenna_open_circuit",
    "rt/system/status_cellular_antenna_short_to_ground",
};

/// What a module keeps over a restart (its AT manual).
constexpr const char* KEPT[] = {"+UGPIOC=", "+CFUN=", "+UUSBCONF=", "+UDCONF="};

/// Of what was, not of what is.
constexpr const char* HISTORY[] = {"reset_reason=", "network_time=", "signal_quality="};

/// What the module of the runs is, in the words of the bus.
constexpr const char* TRUTH[][2] = {
    {"system/modem/status", "state=CONNECTED"},
    {"system/modem/status", R"(operator_id="26201")"},
    {"system/modem/status", "registration=HOME"},
    {"system/modem/hardware", R"(imei="490154203237518")"},
    {"system/modem/sim", R"(iccid="8949010010000000017")"},
    {"system/modem/sim", R"(imsi="001010000000001")"},
    {"system/modem/registration", "registration=HOME"},
    {"rt/system/modem_creg", "modem_creg=HOME"},
    {"rt/system/modem_rssi", "modem_rssi=20"},
};

std::shared_ptr<ScriptedPort> wired(ManualClock& clock, ScriptedPort::Family family, const TempRoot& root)
{
    return std::make_shared<WiredPort>(clock, family, root);
}

/// Without the other card's record, which is what was read of it when it was last in use.
std::string without_history(const std::string& text)
{
    std::istringstream words(text);
    std::string active;
    std::string kept;
    bool other_card = false;
    for (std::string word; words >> word;) {
        active = word.starts_with("active=") ? word.substr(word.find('=')) : active;
        other_card = word.starts_with("sim=") ? word.substr(word.find('=')) != active : other_card;
        const bool past =
            other_card || std::any_of(std::begin(HISTORY), std::end(HISTORY),
                                      [&word](const char* key) { return word.starts_with(key); });
        kept += past ? "" : (kept.empty() ? "" : " ") + word;
    }
    return kept;
}

} // namespace

Unit::Unit(Family of, Kind kind)
    : ModemFixture(of, kind.wired ? wired : scripted), family(of), watch(clock, module, log, root),
      before_(ProcessFacts::of("self"))
{
    module.refuses_unknown = true;
    if (kind.mqtt) {
        transport = ecu::kova::com::TransportType::MQTT;
        settings->set("host", "127.0.0.1");
        settings->set("port", std::to_string(broker_port_));
        settings->set("client_name", "celld");
    } else {                                      // the threads of MQTT are at work in their own time
        settings->set("antenna.frequency", "10"); // seconds, as a unit has it
        watch.await_the_woken();
    }
    root.write("/proc/sys/kernel/random/boot_id", "5b1d0c8e-3f4a-4a57-9a10-6f0c2d7e8b91\n");
    if (kind.fitted != nullptr) {
        kind.fitted(*this);
    }
    ecu::kova::logging::configure_logging("NOTICE"); // a day's DEBUG fills the memory
    begin();
    backend(true);
}

Facts Unit::facts()
{
    pass_for(ALL_TOLD);
    bus::settle(5s);
    Facts facts;
    for (const std::string topic : TOLD) {
        const auto retained = bus::retained(topic);
        const auto message = retained ? retained : bus::last(topic);
        if (message) {
            facts.told[topic] = without_history(celldctl::describe(topic, *message).text);
        } else if (bus::count(topic) == 0) { // else it is no longer among the messages that are remembered
            facts.told[topic] = "(nothing)";
        }
    }
    for (const auto& setting : watch.settings()) {
        if (std::none_of(std::begin(KEPT), std::end(KEPT),
                         [&setting](const char* kept) { return setting.rfind(kept, 0) == 0; })) {
            facts.settings.insert(setting);
        }
    }
    const auto now = ProcessFacts::of("self");
    facts.descriptors = now.descriptors - before_.descriptors;
    facts.threads = now.threads - before_.threads;
    return facts;
}

std::uint64_t Unit::road()
{
    bus::settle(5s);
    auto road = watch.road();
    for (const std::string topic : TOLD) {
        const auto last = bus::last(topic);
        road.note(topic + ' ' + std::to_string(bus::count(topic)) + ' ' +
                  (last ? celldctl::describe(topic, *last).text : "") + '\n');
    }
    ModemFixture::end(); // what the journal has left is written
    road.note(root.read(journal::file().path));
    return road.digest();
}

End Unit::end()
{
    switch (state()) {
    case State::CONNECTED:
        return End::CONNECTED;
    case State::DTC_HW_ERROR:
        return End::HARDWARE_ERROR;
    case State::NO_MODEM_HARDWARE:
        return End::NO_HARDWARE;
    case State::OFF:
    case State::POWER_OFF:
        return left ? End::GIVEN_UP : End::OFF;
    default:
        return left ? End::GIVEN_UP : End::ELSEWHERE;
    }
}

std::string name_of(Unit::Family family)
{
    return family == Unit::Family::SARA ? "SARA" : "TOBY";
}

Facts good_facts(Unit::Family family, Unit::Kind kind)
{
    Unit unit(family, kind);
    if (!unit.connects_within(ON_THE_WAY)) {
        throw std::runtime_error("a good module does not connect:\n" + unit.watch.story());
    }
    auto facts = unit.facts();
    for (const auto& [topic, words] : TRUTH) {
        if (facts.told.at(topic).find(words) == std::string::npos) {
            throw std::runtime_error("of a good module " + std::string(topic) + " says " +
                                     facts.told.at(topic) + ", not " + words);
        }
    }
    return facts;
}

std::vector<std::string> differences(const Facts& good, const Facts& present)
{
    std::vector<std::string> texts;
    for (const auto& [topic, text] : good.told) {
        if (const auto now = present.told.find(topic); now != present.told.end() && now->second != text) {
            texts.push_back(
                std::string(topic).append(" says ").append(now->second).append(", not ").append(text));
        }
    }
    for (const auto& setting : good.settings) {
        if (present.settings.count(setting) == 0) {
            texts.push_back("the module has started, and was not given AT" + setting);
        }
    }
    const auto grown = [&texts](const char* what, std::size_t before, std::size_t now) {
        if (now > before) {
            texts.push_back(std::to_string(now) + " " + what + " in place of " + std::to_string(before));
        }
    };
    grown("descriptors", good.descriptors, present.descriptors);
    grown("threads", good.threads, present.threads);
    return texts;
}
