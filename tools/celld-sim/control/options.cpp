#include "control/options.hpp"

#include "base/files.hpp"
#include "control/control_commands.hpp"

#include <array>
#include <charconv>
#include <string_view>

namespace bench {
namespace {

constexpr int MAX_DELAY_MS = 600'000; ///< ten minutes: longer than anybody waits for a bench

struct Argument {
    std::string_view name;
    std::string_view value; ///< how the help calls it; empty for a switch
    void (*apply)(Options&, const std::string&);
    std::string_view help;
};

int integer(const std::string& text, int highest)
{
    int value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0 || value > highest) {
        throw BenchError("'" + text + "' is not a number from 0 to " + std::to_string(highest));
    }
    return value;
}

std::chrono::milliseconds delay(const std::string& text)
{
    return std::chrono::milliseconds(integer(text, MAX_DELAY_MS));
}

void set_family(Options& options, const std::string& text)
{
    const auto family = family_from(text);
    if (!family) {
        throw BenchError("the family is sara or toby, not '" + text + "'");
    }
    options.module.family = *family;
}

void set_board(Options& options, const std::string& text)
{
    const auto board = board_from(text);
    if (!board) {
        throw BenchError("the board is qbx or k7, not '" + text + "'");
    }
    options.board = *board;
}

void set_send(Options& options, const std::string& text)
{
    options.mode = Options::Mode::SEND;
    options.command = text;
}

void set_check(Options& options, const std::string& text)
{
    options.mode = Options::Mode::CHECK;
    options.command = text;
}

constexpr std::array ARGUMENTS{
    Argument{"--family", "sara|toby", set_family, "the module's family (default sara)"},
    Argument{"--root", "DIR", [](Options& o, const std::string& v) { o.root = v; },
             "directory of the tree; must be given"},
    Argument{"--board", "qbx|k7", set_board, "pins of the QBX/RMX or of the K7 board (default qbx)"},
    Argument{"--boot-delay", "MS", [](Options& o, const std::string& v) { o.boot_delay = delay(v); },
             "from power-on to the port (default 4000)"},
    Argument{"--sim-delay", "MS", [](Options& o, const std::string& v) { o.module.sim_delay = delay(v); },
             "from selection of a SIM to its first answer (default 1000)"},
    Argument{"--registration-delay", "MS",
             [](Options& o, const std::string& v) { o.module.registration_delay = delay(v); },
             "length of a network search (default 3000)"},
    Argument{"--command-delay", "MS",
             [](Options& o, const std::string& v) { o.module.command_delay = delay(v); },
             "time of a short command; long ones take a multiple (default 20)"},
    Argument{"--internal-pin", "PIN", [](Options& o, const std::string& v) { o.module.internal_pin = v; },
             "PIN of the internal SIM (default none)"},
    Argument{"--external-pin", "PIN", [](Options& o, const std::string& v) { o.module.external_pin = v; },
             "PIN of the external SIM, '' for none (default 5193)"},
    Argument{"--no-internal-sim", "",
             [](Options& o, const std::string&) { o.module.internal_present = false; },
             "start without the internal SIM"},
    Argument{"--no-external-sim", "",
             [](Options& o, const std::string&) { o.module.external_present = false; },
             "start with an empty holder"},
    Argument{"--simlock", "0|1", [](Options& o, const std::string& v) { o.sim_lock = integer(v, 1) == 1; },
             "level of the SIM-lock line (default 1)"},
    Argument{"--no-port-loss-on-reset", "",
             [](Options& o, const std::string&) { o.port_loss_on_reset = false; },
             "keep the port while the module restarts by +CFUN=15 or 16"},
    Argument{"--do", "COMMAND", [](Options& o, const std::string& v) { o.commands.push_back(v); },
             "run a control command before the module starts; may be given again"},
    Argument{"--scenario", "FILE", [](Options& o, const std::string& v) { o.scenario = v; },
             "let control commands happen at times and upon events, one a line"},
    Argument{"--replay", "FILE", [](Options& o, const std::string& v) { o.replay = v; },
             "answer as the module did in a recording of celld (at.recording)"},
    Argument{"--transcript", "FILE", [](Options& o, const std::string& v) { o.transcript = v; },
             "write what happens, each answer with its command"},
    Argument{"--check", "FILE", set_check, "name what a transcript shows to be wrong"},
    Argument{"--log", "", [](Options& o, const std::string&) { o.log = true; }, "print the AT dialogue"},
    Argument{"--send", "COMMAND", set_send,
             "send a control command to the bench of --root and print its answer"},
    Argument{"--version", "", [](Options& o, const std::string&) { o.mode = Options::Mode::VERSION; },
             "print the version"},
    Argument{"--help", "", [](Options& o, const std::string&) { o.mode = Options::Mode::HELP; },
             "print this text"},
};

const Argument& find_argument(std::string_view name)
{
    for (const auto& argument : ARGUMENTS) {
        if (argument.name == name) {
            return argument;
        }
    }
    throw BenchError("unknown argument '" + std::string(name) + "'; try --help");
}

} // namespace

Options parse_options(int argc, char** argv)
{
    Options options;
    for (int index = 1; index < argc; ++index) {
        const std::string_view text = argv[index];
        const auto equals = text.find('=');
        const auto& argument = find_argument(text.substr(0, equals));
        std::string value;
        if (equals != std::string_view::npos && !argument.value.empty()) {
            value = text.substr(equals + 1);
        } else if (!argument.value.empty()) {
            if (++index == argc) {
                throw BenchError(std::string(argument.name) + " needs " + std::string(argument.value));
            }
            value = argv[index];
        } else if (equals != std::string_view::npos) {
            throw BenchError(std::string(argument.name) + " takes no value");
        }
        argument.apply(options, value);
    }
    const bool needs_root = options.mode == Options::Mode::BENCH || options.mode == Options::Mode::SEND;
    if (needs_root && options.root.empty()) {
        throw BenchError("--root DIR is missing; try --help");
    }
    return options;
}

std::string help_text()
{
    constexpr std::size_t COLUMN = 28;
    std::string text = "celld-sim: a cellular module and its board on the bench\n\n"
                       "usage: celld-sim --family sara|toby --root DIR [options]\n"
                       "       celld-sim --root DIR --send COMMAND\n"
                       "       celld-sim --check FILE\n\noptions:\n";
    for (const auto& argument : ARGUMENTS) {
        std::string left = "  " + std::string(argument.name) + " " + std::string(argument.value);
        left.resize(std::max(COLUMN, left.size() + 1), ' ');
        text.append(left).append(argument.help).append("\n");
    }
    text += "\nIt builds DIR/sys/class/gpio, offers the AT port as DIR/dev/ttyUbloxModemAT, keeps the "
            "module's settings\n"
            "in DIR/var/celld-sim/nvm.conf and listens on DIR/run/celld-sim.sock. \"celld-sim: ready\" on "
            "standard output\n"
            "says that the tree stands. SIGINT and SIGTERM end it.\n\n"
            "control commands, one a line on the socket or with --send:\n";
    return text + control_help();
}

} // namespace bench
