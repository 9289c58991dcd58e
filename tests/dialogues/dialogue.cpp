#include "dialogues/dialogue.hpp"

#include "support/sleeping_threads.hpp"

#include <sstream>
#include <thread>
#include <utility>

using namespace std::chrono_literals;

namespace {

using Family = ScriptedPort::Family;

constexpr auto LONGEST_WAY = 30min;
constexpr std::string_view COMMAND = "> ";

/// What stands before and behind the first `between`, without the spaces about it; either may be empty.
std::pair<std::string, std::string> parts(const std::string& words, const std::string& between)
{
    const auto at = words.find(" " + between);
    const auto second = at == std::string::npos ? "" : words.substr(at + 1 + between.size());
    return {words.substr(0, at), second.substr(std::min(second.find_first_not_of(' '), second.size()))};
}

std::chrono::milliseconds duration(const std::string& words)
{
    static const std::map<std::string, std::chrono::milliseconds> UNITS{
        {"ms", 1ms}, {"s", 1s}, {"min", 1min}, {"h", 1h}};
    std::istringstream text(words);
    long count = 0;
    std::string unit;
    text >> count >> unit;
    return count * UNITS.at(unit);
}

Family family_of(const std::string& script)
{
    return script.find("\n> family TOBY\n") != std::string::npos ? Family::TOBY : Family::SARA;
}

} // namespace

struct Verbs {
    using Verb = std::function<void(Dialogue&, const std::string& words)>;
    static const std::map<std::string, Verb> ALL;
};

const std::map<std::string, Verbs::Verb> Verbs::ALL{
    {"family", [](Dialogue&, const std::string&) {}}, // read before all others
    // What the unit is, before it begins.
    {"setting",
     [](Dialogue& unit, const std::string& words) {
         const auto [key, value] = parts(words, "=");
         unit.settings->set(key, value);
     }},
    {"variable",
     [](Dialogue& unit, const std::string& words) {
         const auto [key, value] = parts(words, "=");
         unit.variables_[key] = value;
         unit.write_unit_files();
     }},
    {"parameter",
     [](Dialogue& unit, const std::string& words) {
         const auto [key, value] = parts(words, "=");
         unit.parameters_[key] = value;
         unit.write_unit_files();
     }},
    {"pin",
     [](Dialogue& unit, const std::string& words) {
         const auto [gpio, level] = parts(words, "=");
         unit.pin(gpio, level, gpio == Dialogue::SIM_LOCK || gpio == Dialogue::VINT ? "in" : "out");
     }},
    // The module.
    {"answers",
     [](Dialogue& unit, const std::string& words) {
         const auto [command, lines] = parts(words, "->");
         unit.module.answers(command, lines);
     }},
    {"fails",
     [](Dialogue& unit, const std::string& words) {
         const auto [command, line] = parts(words, "->");
         unit.module.fails(command, line);
     }},
    {"silent", [](Dialogue& unit, const std::string& words) { unit.module.is_silent(words); }},
    {"urc", [](Dialogue& unit, const std::string& words) { unit.module.urc(words); }},
    {"registration",
     [](Dialogue& unit, const std::string& words) {
         unit.module.answers("+CREG?", "+CREG: 2," + words);
         unit.module.answers("+CGREG?", "+CGREG: 2," + words);
         unit.module.answers("+CEREG?", "+CEREG: 3," + words);
     }},
    {"mute", [](Dialogue& unit, const std::string& words) { unit.module.mute(words == "on"); }},
    {"port",
     [](Dialogue& unit, const std::string& words) {
         words == "ends" ? unit.module.loop_ended() : unit.module.present(words == "there");
     }},
    {"write errors",
     [](Dialogue& unit, const std::string& words) { unit.module.write_error = words == "on"; }},
    // The bus.
    {"blackout",
     [](Dialogue& unit, const std::string& words) {
         unit.blackout({static_cast<std::uint8_t>(std::stoi(words))});
     }},
    {"backend", [](Dialogue& unit, const std::string& words) { unit.backend(words == "up"); }},
    {"bus", [](Dialogue&, const std::string& words) { bus::set_outage(words == "away"); }},
    // Later.
    {"when",
     [](Dialogue& unit, const std::string& words) {
         const auto [command, what] = parts(words, "then");
         unit.module.on(command, [&unit, verb = what] { unit.act(verb); });
     }},
    {"after",
     [](Dialogue& unit, const std::string& words) {
         const auto [time, what] = parts(words, "then");
         unit.clock.at(duration(time), [&unit, verb = what] { unit.act(verb); });
     }},
    // Time.
    {"until",
     [](Dialogue& unit, const std::string& words) {
         unit.let_pass([&] { return Modem::state_to_str(unit.state()) == "Modem::State::" + words; });
         EXPECT_EQ(Modem::state_to_str(unit.state()), "Modem::State::" + words);
     }},
    {"for",
     [](Dialogue& unit, const std::string& words) {
         const auto end = unit.clock.now() + duration(words);
         unit.let_pass([&] { return unit.clock.now() >= end; });
     }},
    {"skip",
     [](Dialogue& unit, const std::string& words) { // told in short
         const auto end = unit.clock.now() + duration(words);
         unit.let_pass([&] { return unit.clock.now() >= end; });
         unit.told_ = unit.recorder_.take_counts();
     }},
    {"stop",
     [](Dialogue& unit, const std::string&) {
         unit.recorder_.begin_pass();
         unit.modem().stop();
         unit.modem().run(Modem::RunAction::RUN);
         unit.recorder_.end_pass();
     }},
};

Dialogue::Dialogue(const std::string& script)
    : ModemFixture(family_of(script)),
      recorder_(clock, log, root), variables_{{"hwvariant", "QBX2"},  {"modemtype", "SARA"},
                                              {"hasintsim", "true"},  {"hasextsim", "true"},
                                              {"divantenna", "NONE"}, {"hwversion", "qbx"}},
      parameters_{{"41024", "10"}, {"41025", "100"}}
{
    module.on_command([this](const AtCommand& command) { recorder_.command(command); });
    const auto look = [this] { recorder_.look(); };
    clock.watched_by(look, [look] {
        await_sleepers(); // or what a timer does then stands anywhere behind it
        look();
    });
}

Dialogue::~Dialogue()
{
    module.on_command({});
    clock.watched_by({}, {});
}

std::string Dialogue::played(const std::string& script)
{
    std::istringstream lines(script);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(COMMAND)) {
            act(line.substr(COMMAND.size()));
            text += line + "\n" + std::exchange(told_, "") + recorder_.take();
        } else if (line.starts_with("#") || line.empty()) {
            text += line + "\n";
        }
    }
    return text;
}

void Dialogue::act(const std::string& verb_and_words)
{
    for (const auto& [verb, does] : Verbs::ALL) {
        if (verb_and_words == verb || verb_and_words.starts_with(verb + " ")) {
            does(*this, verb_and_words.substr(std::min(verb_and_words.size(), verb.size() + 1)));
            return;
        }
    }
    ADD_FAILURE() << "no verb: " << verb_and_words;
}

void Dialogue::let_pass(const std::function<bool()>& enough)
{
    const auto end = clock.now() + LONGEST_WAY;
    while (!enough() && !left && clock.now() < end) {
        recorder_.begin_pass();
        const auto wanted = modem().pass();
        left = wanted.leave;
        modem().rest(wanted);
        if (state() == State::WAITING_FOR_ATPORT || state() == State::CONNECTED) {
            await_sleepers();
        }
        recorder_.end_pass();
    }
}

void Dialogue::write_unit_files()
{
    const auto write = [this](const char* file, const auto& entries) {
        std::string text;
        for (const auto& [key, value] : entries) {
            text += value == "-" ? "" : key + " = " + value + "\n";
        }
        root.write(file, text);
    };
    write("/etc/vexa/ecu_variables.conf", variables_);
    write("/etc/vexa/system_parameters.conf", parameters_);
}
