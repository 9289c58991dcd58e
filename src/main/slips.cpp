#include "main/slips.hpp"

#include "status/antenna_handler.hpp"
#include "utils/strings.hpp"
#include "utils/words.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <string>

namespace {

using ecu::kova::config::Configuration;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.main");

constexpr std::array KEYS{
    // the platform library's
    "host", "port", "client_name", "bus.username", "bus.password", "bus.cafile", "bus.certfile",
    "bus.keyfile",
    // the daemon's
    "sim.external.pin", // first: also the nearest to that of the internal SIM, which has none
    "logmode", "loglevel", "logmodules", "routermode", "sim.internal.state", "sim.internal.apn",
    "sim.internal.user", "sim.internal.password", "sim.external.state", "sim.external.apn",
    "sim.external.user", "sim.external.password", "modem_restart_timeout", "nw_search_reattach_timer",
    "nw_search_modem_reset_timer", "max_modem_reset", "max_sim_errors", "max_modem_resets_before_dtc",
    AntennaHandler::CONFIG_THREAD_FREQ_KEY, AntennaHandler::CONFIG_RSSI_THRH_KEY,
    AntennaHandler::CONFIG_FORCE_CHECK_KEY};

constexpr std::array LOG_MODULES{"all",
                                 "celld.main",
                                 "celld.modem",
                                 "celld.modem.state",
                                 "celld.modem.urc",
                                 "celld.pbstate",
                                 "celld.sim",
                                 "celld.status",
                                 "celld.status.msg",
                                 "celld.status.query",
                                 "celld.antenna",
                                 "celld.atport",
                                 "celld.atport.raw",
                                 "celld.atparser",
                                 "celld.gpioctrl",
                                 "celld.timer",
                                 "celld.utils",
                                 "celld.variant.sara",
                                 "celld.variant.toby",
                                 "kova.com",
                                 "kova.com.mqtt",
                                 "kova.com.messageadapter",
                                 "kova.config",
                                 "kova.logging",
                                 "kova.var"};

constexpr std::array LOG_MODES{"syslog", "stdout", "stderr"};
constexpr std::array TRUTHS{"true", "false"};
constexpr std::array SIM_STATES{"auto", "enable", "disable"};

/// A key whose value is one of a few words. An unknown log level is told of by the platform library.
struct Choice {
    const char* key;
    utils::Words words;
    bool any_case;
};
constexpr std::array CHOICES{
    Choice{"logmode", LOG_MODES, false},
    Choice{"routermode", TRUTHS, false},
    Choice{"sim.internal.state", SIM_STATES, true},
    Choice{"sim.external.state", SIM_STATES, true},
};

void warn(const std::string& what, const std::string& word, utils::Words known)
{
    const char* const meant = utils::nearest(word, known);
    LOG.warning("Unknown ", what, " '", word, "'",
                meant == nullptr ? std::string() : ", did you mean '" + std::string(meant) + "'?");
}

/// What the platform library offers where it is the bundled one, found at compile time.
template <class Settings>
void warn_of_keys(const Settings& configuration)
{
    if constexpr (requires { configuration.keys(); }) {
        for (const std::string& key : configuration.keys()) {
            if (!utils::is_among(key, KEYS)) {
                warn("key in the configuration", key, KEYS);
            }
        }
    }
}

void warn_of_choices(const Configuration& configuration)
{
    for (const auto& [key, words, any_case] : CHOICES) {
        const std::string value = configuration.get(key);
        if (!value.empty() && !utils::is_among(any_case ? utils::lower_case(value) : value, words)) {
            warn("value of " + std::string(key), value, words);
        }
    }
}

void warn_of_log_modules(const Configuration& configuration)
{
    for (const std::string& name : utils::split_as(configuration.get("logmodules"), ',')) {
        if (!utils::is_among(name, LOG_MODULES)) {
            warn("log module", name, LOG_MODULES);
        }
    }
}

} // namespace

void warn_of_slips(const Configuration& configuration, const CommandLineOptions& options)
{
    warn_of_keys(configuration);
    warn_of_choices(configuration);
    warn_of_log_modules(configuration);
    const auto words = action_words();
    if (!options.action.empty() && !utils::is_among(options.action, words)) {
        warn("word", options.action, words);
    }
}
