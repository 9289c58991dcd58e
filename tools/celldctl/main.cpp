#include "verbs.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <csignal>
#include <iostream>
#include <string_view>

namespace {

using namespace celldctl;

struct Verb {
    std::string_view name;
    int (*run)(Session&, Arguments&);
    std::string_view synopsis;
    std::string_view purpose;
};

constexpr std::array VERBS{
    Verb{"status", &status, "status [--json] [--timeout SECONDS]",
         "Show what the modem is, from what the bus retains. Ends with 0 when it is connected,\n"
         "      with 1 when not, and with 3 when the bus does not answer within --timeout (5 s)."},
    Verb{"wait-for", &wait_for, "wait-for STATE [--timeout SECONDS]",
         "End with 0 once the modem's state is STATE (connected, searching, disabled, ...),\n"
         "      with 4 when that has not come within --timeout (300 s), with 3 when there is\n"
         "      no connection to the bus then."},
    Verb{"monitor", &monitor, "monitor [--until STATE] [--timeout SECONDS]",
         "Show what the modem daemon and the backend say on the bus, decoded.\n"
         "      With --until, end with status 0 once the modem's state is STATE (connected,\n"
         "      registered, searching, disabled, ...), and with 1 after --timeout."},
    Verb{"backend", &backend, "backend connected|disconnected [--interval SECONDS]",
         "Stand in for the backend service: publish its status, once, or every\n"
         "      interval until interrupted."},
    Verb{"blackout", &blackout, "blackout on|off", "Switch the unit's radio silence on or off."},
};

void print_usage(std::ostream& out)
{
    out << "Usage: celldctl [--host HOST] [--port PORT] VERB ...\n\nVerbs:\n";
    for (const auto& verb : VERBS) {
        out << "  " << verb.synopsis << "\n      " << verb.purpose << "\n";
    }
    out << "\nOptions:\n"
           "  --host HOST    the broker's host\n"
           "  --port PORT    the broker's port\n"
           "  --help         show this help\n"
           "The defaults, and the user, password and certificates of the bus, are those of\n"
           "/etc/vexa/celld.conf (below the directory that CELLD_ROOT names), else localhost\n"
           "and 1883.\n\n"
           "Exit status: 0 done, 1 failure (status: not connected; monitor: time-out too), 2 wrong\n"
           "usage, 3 no answer from the bus (status, wait-for), 4 time-out (wait-for).\n";
}

int run(std::vector<std::string> words)
{
    Arguments arguments(std::move(words));
    Session session;
    const auto host = arguments.take_option("--host");
    const auto port = arguments.take_option("--port");
    const auto name = arguments.take_word();
    if (!name) {
        arguments.expect_none();
        throw UsageError("a verb is missing");
    }
    for (const auto& verb : VERBS) {
        if (name == verb.name) {
            read_bus_configuration(session.configuration);
            session.configuration.set("host", host.value_or(session.configuration.get("host")));
            session.configuration.set("port", port.value_or(session.configuration.get("port")));
            return session.configuration.verify() ? verb.run(session, arguments) : USAGE;
        }
    }
    throw UsageError("there is no verb '" + *name + "'");
}

} // namespace

int main(int argc, char** argv)
{
    namespace logging = ecu::kova::logging;
    logging::set_log_mode(logging::LogMode::STDERR); // WARNING and above: why there is no connection
    logging::configure_logging("WARNING");
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> words(argv + 1, argv + argc);
    for (const auto& word : words) {
        if (word == "--help" || word == "-h") {
            print_usage(std::cout);
            return SUCCESS;
        }
    }
    try {
        return run(std::move(words));
    } catch (const UsageError& error) {
        complain(std::string(error.what()) + "; see celldctl --help");
        return USAGE;
    } catch (const std::exception& error) {
        complain(error.what());
        return FAILURE;
    }
}
