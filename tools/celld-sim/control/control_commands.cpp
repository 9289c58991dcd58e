#include "control/control_commands.hpp"

#include "control/bench.hpp"
#include "module/reports.hpp"

#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace bench {
namespace {

constexpr int MAX_SECONDS = 86'400;
constexpr int MAX_GARBAGE = 1'000'000;
constexpr int DEFAULT_PORT_DROP_S = 3;

/// The rest of a command line, taken word by word.
class Words {
public:
    explicit Words(std::string_view text) : text_(text) { skip_blanks(); }

    std::string next()
    {
        const auto end = std::min(text_.find(' '), text_.size());
        std::string word(text_.substr(0, end));
        text_.remove_prefix(end);
        skip_blanks();
        return word;
    }

    /// The next word as a number from `low` to `high`. @throws BenchError when it is not one
    int number(int low, int high)
    {
        const auto word = next();
        int value = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error != std::errc() || end != word.data() + word.size() || value < low || value > high) {
            throw BenchError("'" + word + "' is not a number from " + std::to_string(low) + " to " +
                             std::to_string(high));
        }
        return value;
    }

    std::string rest() { return std::string(std::exchange(text_, {})); }
    bool empty() const { return text_.empty(); }

private:
    void skip_blanks() { text_.remove_prefix(std::min(text_.find_first_not_of(' '), text_.size())); }

    std::string_view text_;
};

bool on_or_off(const std::string& word)
{
    if (word != "on" && word != "off") {
        throw BenchError("'" + word + "' is neither on nor off");
    }
    return word == "on";
}

Slot slot_from(const std::string& word)
{
    if (word == "internal") {
        return Slot::INTERNAL;
    }
    if (word == "external") {
        return Slot::EXTERNAL;
    }
    throw BenchError("'" + word + "' is neither internal nor external");
}

std::string control_urc(Bench& bench, Words& words)
{
    bench.module().urc(words.rest());
    return "";
}

std::string control_network(Bench& bench, Words& words)
{
    using Answer = Surroundings::Answer;
    constexpr std::array NAMES{std::pair{"home", Answer::HOME}, std::pair{"roaming", Answer::ROAMING},
                               std::pair{"denied", Answer::DENIED}, std::pair{"search", Answer::SEARCH},
                               std::pair{"lost", Answer::LOST}};
    const auto word = words.next();
    for (const auto& [name, answer] : NAMES) {
        if (word == name) {
            bench.module().network().answer(answer);
            return "";
        }
    }
    throw BenchError("network home|roaming|denied|search|lost");
}

std::string control_eps_only(Bench& bench, Words& words)
{
    bench.module().network().eps_only(on_or_off(words.next()));
    return "";
}

std::string control_rat(Bench& bench, Words& words)
{
    bench.module().network().act(words.number(0, 7));
    return "";
}

std::string control_sim(Bench& bench, Words& words)
{
    const auto slot = slot_from(words.next());
    const auto action = words.next();
    if (action != "insert" && action != "remove") {
        throw BenchError("sim internal|external insert|remove");
    }
    bench.module().insert_card(slot, action == "insert");
    return "";
}

std::string control_simlock(Bench& bench, Words& words)
{
    bench.sim_lock(words.number(0, 1) == 1);
    return "";
}

std::string control_pin_attempts(Bench& bench, Words& words)
{
    const auto slot = slot_from(words.next());
    bench.module().sims().card(slot).pin_attempts(words.number(0, SimCard::PIN_ATTEMPTS));
    return "";
}

std::string control_port(Bench& bench, Words& words)
{
    if (words.next() != "drop") {
        throw BenchError("port drop [SECONDS]");
    }
    const int seconds = words.empty() ? DEFAULT_PORT_DROP_S : words.number(0, MAX_SECONDS);
    bench.drop_port(std::chrono::seconds(seconds));
    return "";
}

std::string control_reboot(Bench& bench, Words&)
{
    bench.reboot();
    return "";
}

std::string control_mute(Bench& bench, Words& words)
{
    bench.module().interpreter().mute(on_or_off(words.next()));
    return "";
}

std::string control_hang(Bench& bench, Words&)
{
    bench.hang();
    return "";
}

std::string put_script(Bench& bench, Words& words, Script::Kind kind)
{
    const auto prefix = words.next();
    if (prefix.empty()) {
        throw BenchError("the prefix of a command is missing");
    }
    bench.module().interpreter().script().put({kind, prefix, words.rest()});
    return "";
}

std::string control_fail(Bench& bench, Words& words)
{
    return put_script(bench, words, Script::Kind::FAIL);
}

std::string control_answer(Bench& bench, Words& words)
{
    return put_script(bench, words, Script::Kind::ANSWER);
}

std::string control_silent(Bench& bench, Words& words)
{
    return put_script(bench, words, Script::Kind::SILENCE);
}

std::string control_unfail(Bench& bench, Words& words)
{
    bench.module().interpreter().script().remove(words.next());
    return "";
}

std::string control_context(Bench& bench, Words& words)
{
    if (words.next() != "lost") {
        throw BenchError("context lost");
    }
    bench.module().drop_contexts();
    return "";
}

std::string control_backoff(Bench& bench, Words& words)
{
    constexpr int HIGHEST_MODE = 6; // 4 to 6 say that attempts are used up and start no timer
    auto& module = bench.module();
    const int mode = words.number(0, HIGHEST_MODE);
    const int seconds = words.number(0, MAX_SECONDS);
    auto& ends = module.session().backoff_ends;
    if (static_cast<std::size_t>(mode) < ends.size()) {
        ends[static_cast<std::size_t>(mode)] = module.timers().now() + std::chrono::seconds(seconds);
    }
    module.urc("+UUNFM: " + std::to_string(mode) + "," + std::to_string(seconds));
    return "";
}

std::string control_rssi(Bench& bench, Words& words)
{
    bench.module().network().surroundings().rssi = words.number(0, 31);
    bench.module().report_signal();
    return "";
}

std::string control_antenna(Bench& bench, Words& words)
{
    bench.module().network().surroundings().antenna_ohm = words.number(-1, MAX_GARBAGE);
    return "";
}

std::string control_operator(Bench& bench, Words& words)
{
    bench.module().network().surroundings().operator_name = words.rest();
    return "";
}

std::string control_operator_id(Bench& bench, Words& words)
{
    bench.module().network().surroundings().operator_id = words.rest();
    return "";
}

std::string control_garbage(Bench& bench, Words& words)
{
    bench.send_garbage(static_cast<std::size_t>(words.number(1, MAX_GARBAGE)));
    return "";
}

std::string control_state(Bench& bench, Words&)
{
    auto& module = bench.module();
    const auto stat = [&module](Network::Domain domain) {
        return std::to_string(static_cast<int>(module.network().stat(domain)));
    };
    std::string contexts;
    for (const auto& [cid, context] : module.session().contexts) {
        contexts += (contexts.empty() ? "" : ",") + std::to_string(cid) + ":" + (context.active ? "1" : "0");
    }
    return bench.state() + " family=" + (module.family() == Family::SARA ? "sara" : "toby") +
           " sim=" + (module.sims().selected() == Slot::INTERNAL ? "internal" : "external") +
           " sim_ready=" + (module.sims().ready() ? "1" : "0") +
           " pin_attempts=" + std::to_string(module.sims().current().pin_attempts()) +
           " cfun=" + std::to_string(module.session().cfun) +
           " cops=" + std::to_string(module.session().cops_mode) + " creg=" + stat(Network::Domain::CS) +
           " cgreg=" + stat(Network::Domain::PS) + " cereg=" + stat(Network::Domain::EPS) +
           " rat=" + std::to_string(module.network().surroundings().act) +
           " contexts=" + (contexts.empty() ? "none" : contexts) +
           " silent=" + (module.interpreter().silent() ? "1" : "0");
}

std::string control_journal(Bench& bench, Words& words)
{
    auto& script = bench.module().interpreter().script();
    if (words.next() == "clear") {
        script.clear_journal();
        return "";
    }
    std::string text = std::to_string(script.journal().size());
    for (const auto& command : script.journal()) {
        text.append("\n").append(command);
    }
    return text;
}

struct ControlRow {
    std::string_view name;
    std::string (*handler)(Bench&, Words&);
    std::string_view arguments;
    std::string_view help;
};

constexpr std::array ROWS{
    ControlRow{"urc", control_urc, "TEXT", "send an unsolicited line"},
    ControlRow{"network", control_network, "home|roaming|denied|search|lost",
               "what the network answers from now on"},
    ControlRow{"eps-only", control_eps_only, "on|off", "subscription without the circuit-switched domain"},
    ControlRow{"rat", control_rat, "N", "access technology as in +CREG: 2 UTRAN, 7 E-UTRAN"},
    ControlRow{"sim", control_sim, "internal|external insert|remove", "put a card in or take it out"},
    ControlRow{"simlock", control_simlock, "0|1", "level of the SIM-lock line"},
    ControlRow{"pin-attempts", control_pin_attempts, "internal|external N",
               "PIN attempts left on the card, 0 to 3"},
    ControlRow{"port", control_port, "drop [SECONDS]",
               "take the port away and bring it back (default after 3 s)"},
    ControlRow{"reboot", control_reboot, "", "the module restarts by itself"},
    ControlRow{"mute", control_mute, "on|off", "take commands without answering; no unsolicited lines"},
    ControlRow{"hang", control_hang, "", "as mute, until the module restarts"},
    ControlRow{"fail", control_fail, "PREFIX [TEXT]",
               "commands that begin so fail with \"+CME ERROR: TEXT\""},
    ControlRow{"answer", control_answer, "PREFIX TEXT",
               "commands that begin so answer TEXT; \\n parts its lines"},
    ControlRow{"silent", control_silent, "PREFIX", "commands that begin so get no answer"},
    ControlRow{"unfail", control_unfail, "[PREFIX]", "end what fail, answer and silent began"},
    ControlRow{"context", control_context, "lost", "the network takes the data contexts away"},
    ControlRow{"backoff", control_backoff, "MODE SECONDS", "send +UUNFM; modes 0 to 3 count down in +UNFM?"},
    ControlRow{"rssi", control_rssi, "N", "signal strength as in +CSQ, 0 to 31"},
    ControlRow{"antenna", control_antenna, "OHM", "what +UANTR measures"},
    ControlRow{"operator", control_operator, "NAME", "name of the operator"},
    ControlRow{"operator-id", control_operator_id, "DIGITS", "number of the operator"},
    ControlRow{"garbage", control_garbage, "N", "send N random bytes"},
    ControlRow{"state", control_state, "", "one line of key=value"},
    ControlRow{"journal", control_journal, "[clear]", "\"ok COUNT\" and the commands received, newest last"},
};

} // namespace

std::string run_control_command(Bench& bench, const std::string& line)
{
    Words words(line);
    const auto name = words.next();
    try {
        for (const auto& row : ROWS) {
            if (row.name == name) {
                const auto text = row.handler(bench, words);
                return text.empty() ? "ok" : "ok " + text;
            }
        }
        return "error unknown command '" + name + "'";
    } catch (const BenchError& error) {
        return std::string("error ") + error.what();
    }
}

std::string control_help()
{
    constexpr std::size_t COLUMN = 42;
    std::string text;
    for (const auto& row : ROWS) {
        std::string left = "  " + std::string(row.name) + " " + std::string(row.arguments);
        left.resize(std::max(COLUMN, left.size() + 1), ' ');
        text.append(left).append(row.help).append("\n");
    }
    return text;
}

} // namespace bench
