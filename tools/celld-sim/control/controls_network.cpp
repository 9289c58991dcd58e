#include "base/files.hpp"
#include "control/control_table.hpp"

#include <array>
#include <utility>

namespace bench {
namespace {

constexpr int MAX_SECONDS = 86'400;
constexpr int MAX_OHM = 1'000'000;

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
    ControlRow{"network", control_network, "home|roaming|denied|search|lost",
               "what the network answers from now on"},
    ControlRow{"eps-only", control_eps_only, "on|off", "subscription without the circuit-switched domain"},
    ControlRow{"rat", control_rat, "N", "access technology as in +CREG: 2 UTRAN, 7 E-UTRAN"},
    ControlRow{"context", control_context, "lost", "the network takes the data contexts away"},
    ControlRow{"backoff", control_backoff, "MODE SECONDS", "send +UUNFM; modes 0 to 3 count down in +UNFM?"},
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
