#include "base/files.hpp"
#include "control/control_table.hpp"

#include <array>
#include <utility>

namespace bench {
namespace {

constexpr int MAX_SECONDS = 86'400;
constexpr int MAX_PERIOD_MS = 3'600'000;
constexpr int MAX_OHM = 1'000'000;

std::string control_network(Bench& bench, Words& words)
{
    using Answer = Surroundings::Answer;
    constexpr std::array NAMES{std::pair{"home", Answer::HOME},     std::pair{"roaming", Answer::ROAMING},
                               std::pair{"denied", Answer::DENIED}, std::pair{"emergency", Answer::EMERGENCY},
                               std::pair{"search", Answer::SEARCH}, std::pair{"lost", Answer::LOST}};
    const auto word = words.next();
    for (const auto& [name, answer] : NAMES) {
        if (word == name) {
            bench.module().network().answer(answer);
            return "";
        }
    }
    throw BenchError("network home|roaming|denied|emergency|search|lost");
}

std::string control_eps_only(Bench& bench, Words& words)
{
    bench.module().network().eps_only(words.on_or_off());
    return "";
}

std::string control_rat(Bench& bench, Words& words)
{
    bench.module().network().act(words.number(0, 7));
    return "";
}

std::string control_context(Bench& bench, Words& words)
{
    const auto word = words.next();
    auto& module = bench.module();
    if (word == "lost") {
        module.drop_contexts();
        return "";
    }
    const bool refused = word == "refused";
    if (!refused && word != "silent" && word != "granted") {
        throw BenchError("context lost|refused|silent|granted");
    }
    const std::string activation = module.family() == Family::SARA ? "+UCEDATA=" : "+CGACT=1";
    module.network().surroundings().contexts_refused = word != "granted";
    auto& script = module.interpreter().script();
    script.remove(activation);
    if (word != "granted") {
        const auto kind = refused ? Script::Kind::FAIL : Script::Kind::SILENCE;
        script.put({.kind = kind, .prefix = activation, .text = words.rest()});
    }
    return "";
}

std::string control_flap(Bench& bench, Words& words)
{
    auto& flapping = bench.module().flapping();
    const auto what = words.next();
    const auto period = [&words] { return std::chrono::milliseconds(words.number(1, MAX_PERIOD_MS)); };
    if (what == "off") {
        flapping.stop();
    } else if (what == "registration") {
        flapping.registration(period());
    } else if (what == "rat") {
        const int other = words.number(0, 7);
        flapping.technology(period(), other);
    } else {
        throw BenchError("flap registration MS, flap rat N MS or flap off");
    }
    return "";
}

std::string control_backoff(Bench& bench, Words& words)
{
    constexpr int HIGHEST_MODE = 6; // 4 to 6 say that attempts are used up and start no timer
    auto& module = bench.module();
    const int mode = words.number(0, HIGHEST_MODE);
    if (words.empty()) {
        module.urc("+UUNFM: " + std::to_string(mode));
        return "";
    }
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
    bench.module().network().surroundings().antenna_ohm = words.number(-1, MAX_OHM);
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

constexpr std::array ROWS{
    ControlRow{"network", control_network, "home|roaming|denied|emergency|search|lost",
               "what the network answers from now on"},
    ControlRow{"eps-only", control_eps_only, "on|off", "subscription without the circuit-switched domain"},
    ControlRow{"rat", control_rat, "N", "access technology as in +CREG: 2 UTRAN, 7 E-UTRAN"},
    ControlRow{"context", control_context, "lost / refused [TEXT] / silent / granted",
               "the network takes the data contexts away; refuses new ones; leaves them unanswered; no more"},
    ControlRow{"flap", control_flap, "registration MS / rat N MS / off",
               "registration or access technology changes to and fro each MS"},
    ControlRow{"backoff", control_backoff, "MODE [SECONDS]",
               "send +UUNFM; modes 0 to 3 count down in +UNFM?"},
    ControlRow{"rssi", control_rssi, "N", "signal strength as in +CSQ, 0 to 31"},
    ControlRow{"antenna", control_antenna, "OHM", "what +UANTR measures"},
    ControlRow{"operator", control_operator, "NAME", "name of the operator"},
    ControlRow{"operator-id", control_operator_id, "DIGITS", "number of the operator"},
};

} // namespace

std::span<const ControlRow> network_controls()
{
    return ROWS;
}

} // namespace bench
