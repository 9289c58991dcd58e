#include "main/command_line.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <cstdlib>
#include <getopt.h>
#include <iostream>
#include <utility>

namespace {

using Action = Modem::RunAction;

constexpr std::array<std::pair<const char*, Action>, 5> ACTIONS{{
    {"poweron", Action::POWER_ON},
    {"poweroff", Action::POWER_OFF},
    {"init", Action::INIT},
    {"configure", Action::CONFIGURE},
    {"connect", Action::CONNECT},
}};

constexpr std::array<option, 5> LONG_OPTIONS{{
    {"loglevel", required_argument, nullptr, 'l'},
    {"log-stdout", no_argument, nullptr, 'L'},
    {"version", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
}};

} // namespace

void version()
{
    std::cerr << "celld: " << CELLD_BUILD_IDENTIFICATION << std::endl;
}

void usage()
{
    const char* const level = ecu::kova::logging::get_default_log_level_name();
    std::cerr << "\n"
              << "USAGE: "
              << "celld"
              << " [OPTIONS]\n\n"
              << "PARAMS: \n\n"
              << "OPTIONS:"
              << "\n"
              << "  -L, --log-stdout        Set logging to STDOUT instead of syslog.\n"
              << "  -l, --loglevel          Enforces the loglevel and overrides the\n"
              << "                          LOG_LEVEL.\n"
              << "        Possibles values: EMERG, ALERT, CRITICAL, ERROR, WARNING,\n"
              << "                          NOTICE, INFO, DEBUG\n"
              << "        Default: " << (level == nullptr ? "" : level) << "\n"
              << "  -h, --help              show this help"
              << "\n"
              << "  -v, --version           show version"
              << "\n"
              << std::endl;
}

bool parse_opts(int argc, char** argv, CommandLineOptions& options)
{
    int option = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): before any other thread exists
    while ((option = getopt_long(argc, argv, "l:hvL", LONG_OPTIONS.data(), nullptr)) != -1) {
        switch (option) {
        case 'l':
            options.loglevel_given = true;
            options.loglevel = optarg;
            break;
        case 'L':
            options.log_to_stdout = true;
            ecu::kova::logging::set_log_mode(ecu::kova::logging::LogMode::STDOUT);
            break;
        case 'v':
            std::exit(EXIT_SUCCESS); // NOLINT(concurrency-mt-unsafe): likewise
        default:
            return false;
        }
    }
    for (int i = optind; i < argc; ++i) {
        options.action = argv[i];
    }
    return true;
}

std::vector<const char*> action_words()
{
    std::vector<const char*> words;
    words.reserve(ACTIONS.size());
    for (const auto& [name, action] : ACTIONS) {
        words.push_back(name);
    }
    return words;
}

Modem::RunAction action_of(const std::string& word)
{
    for (const auto& [name, action] : ACTIONS) {
        if (word == name) {
            return action;
        }
    }
    return Action::RUN;
}
