#include "modem/modem_state.hpp"

#include <array>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

namespace {

using S = ModemState;

struct Explanation {
    S state;
    std::string_view text;
};

/// One row a state, in the order of the values.
constexpr std::array EXPLANATIONS{
    Explanation{S::NO_MODEM_HARDWARE, "The board has no modem; nothing is done."},
    Explanation{S::OFF, "No supply. Left unless radio silence, parameter 41060, a refused subscription or "
                        "the word `poweroff` keep the module off."},
    Explanation{S::POWER_OFF, "The module is being powered off, on the way to `OFF`."},
    Explanation{S::POWER_ON, "Supply and power-on line are being switched."},
    Explanation{S::WAITING_FOR_ATPORT, "The module boots; its TTY is awaited, 45 s at most before a reset."},
    Explanation{S::UNINITIALIZED,
                "Port opened, module identified, persistent settings compared. A difference is corrected and "
                "the module reset once."},
    Explanation{S::WAITING_FOR_SIM, "The SIM is awaited and unlocked, then the data context is set up."},
    Explanation{S::INITIALIZED, "The SIM is selected and the module's reports are switched on."},
    Explanation{S::CONFIGURED, "SIM and context are ready."},
    Explanation{S::RESET, "The module is being restarted through its supply; the tenth in a row ends the "
                          "daemon."},
    Explanation{S::REGISTERING, "The network search runs. After 120 s it starts anew, after 1800 s the "
                                "module is reset."},
    Explanation{S::REGISTERED, "Registered; the data context is being activated."},
    Explanation{S::ACTIVATE_CONTEXT, "Waits 120 s at most until the data context is active."},
    Explanation{S::CONNECTED, "The link is up. Registration, context and backend are supervised."},
    Explanation{S::DISCONNECTED, "The network denies the registration. Supervised as `REGISTERING`."},
    Explanation{S::SEARCHING, "The module searches. Supervised as `REGISTERING`."},
    Explanation{S::AT_PORT_LOST, "The port has gone or is to be opened anew; the supply stays."},
    Explanation{S::BACKOFF, "The network has barred the module for a while; it is left alone."},
    Explanation{S::DTC_HW_ERROR, "The hardware error was reported. Only a stop leads out of it."},
};

constexpr bool in_order()
{
    for (std::size_t i = 0; i < EXPLANATIONS.size(); ++i) {
        if (static_cast<std::size_t>(EXPLANATIONS[i].state) != i) {
            return false;
        }
    }
    return EXPLANATIONS.size() == MODEM_STATE_COUNT;
}
static_assert(in_order());

std::string short_name(S state)
{
    constexpr std::string_view PREFIX = "Modem::State::";
    return state_text(state).substr(PREFIX.size());
}

std::string successors(S from)
{
    std::string text;
    for (const S to : transition_row(from)) {
        text += text.empty() ? "" : ", ";
        text += short_name(to);
    }
    return text.empty() ? "any" : text;
}

void write_picture(std::ostream& out)
{
    out << "```mermaid\nstateDiagram-v2\n    [*] --> OFF\n";
    for (const auto& [from, text] : EXPLANATIONS) {
        for (const S to : transition_row(from)) {
            out << "    " << short_name(from) << " --> " << short_name(to) << '\n';
        }
    }
    // The states without a row, on their usual road; see the table.
    out << "    REGISTERED --> ACTIVATE_CONTEXT : usual road\n"
           "    ACTIVATE_CONTEXT --> CONNECTED : usual road\n"
           "```\n";
}

std::string document()
{
    std::ostringstream out;
    out << "# The modem's states\n\n"
           "<!-- Printed by `states-doc > docs/states.md`; a test compares. Change the program, not this "
           "text. "
           "-->\n\n"
           "The usual road is `OFF`, `POWER_ON`, `WAITING_FOR_ATPORT`, `UNINITIALIZED`, `INITIALIZED`,\n"
           "`WAITING_FOR_SIM`, `CONFIGURED`, `REGISTERING`, `REGISTERED`, `ACTIVATE_CONTEXT`, `CONNECTED`. "
           "Times are those of the\ndefault configuration.\n\n"
           "| value | state | what happens in it | may go to, besides `OFF` and `POWER_OFF` |\n"
           "|---:|---|---|---|\n";
    for (const auto& [state, text] : EXPLANATIONS) {
        out << "| " << static_cast<int>(state) << " | `" << short_name(state) << "` | " << text << " | "
            << successors(state) << " |\n";
    }
    out << "\nEvery state may go to `OFF` and `POWER_OFF`. A state with \"any\" has no rule of its own: the "
           "steps of the run loop alone\ndecide. A transition that is not allowed is refused with a WARNING "
           "on `celld.modem.state`, and the state stays.\n\n";
    write_picture(out);
    return out.str();
}

/// Whether the file says what this program would print.
bool is_current(const char* path)
{
    std::ifstream file(path);
    if (!file) {
        std::cerr << "states-doc: cannot read " << path << '\n';
        return false;
    }
    std::ostringstream found;
    found << file.rdbuf();
    if (found.str() == document()) {
        return true;
    }
    std::cerr << "states-doc: " << path << " is not what the daemon does; run states-doc > " << path << '\n';
    return false;
}

int run(int argc, char** argv)
{
    if (argc == 1) {
        std::cout << document() << std::flush;
        return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (argc == 3 && std::string_view(argv[1]) == "--check") {
        return is_current(argv[2]) ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    std::cerr << "usage: states-doc [--check FILE]\n";
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "states-doc: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
