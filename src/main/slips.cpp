#include "main/slips.hpp"

#include "at/at_recording.hpp"
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
    AtRecording::CONFIG_KEY, AntennaHandler::CONFIG_THREAD_FREQ_KEY, AntennaHandler::CONFIG_RSSI_THRH_KEY,
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
    Choice{AtRecording::CONFIG_KEY, TRUTHS, false},
    Choice{"sim.internal.state", SIM_STATES, true},
    Choice{"sim.external.state", SIM_STATES, true},
};

/// What the platform library offers where it is the bundled one, found at compile time.
template <class Settings>
std::vector<std::string> keys_of(const Settings& configuration)
{
    if constexpr (requires { configuration.keys(); }) {
        return configuration.keys();
    } else {
        return {};
    }
}

void add_if_unknown(std::vector<Slip>& slips, const std::string& what, const std::string& word,
                    utils::Words known)
{
    if (!utils::is_among(word, known)) {
        slips.push_back({what, word, utils::nearest(word, known)});
    }
}

} // namespace

std::string Slip::text() const
{
    return "Unknown " + what + " '" + word + "'" +
           (meant == nullptr ? std::string() : ", did you mean '" + std::string(meant) + "'?");
}

utils::Words known_keys()
{
    return KEYS;
}

std::vector<Slip> slips_in(const Configuration& configuration)
{
    std::vector<Slip> slips;
    for (const std::string& key : keys_of(configuration)) {
        add_if_unknown(slips, "key in the configuration", key, KEYS);
    }
    for (const auto& [key, words, any_case] : CHOICES) {
        const std::string value = configuration.get(key);
        if (!value.empty() && !utils::is_among(any_case ? utils::lower_case(value) : value, words)) {
            add_if_unknown(slips, "value of " + std::string(key), value, words);
        }
    }
    for (const std::string& name : utils::split_as(configuration.get("logmodules"), ',')) {
        add_if_unknown(slips, "log module", name, LOG_MODULES);
    }
    return slips;
}

void warn_of_slips(const Configuration& configuration, const CommandLineOptions& options)
{
    auto slips = slips_in(configuration);
    if (!options.action.empty()) {
        add_if_unknown(slips, "word", options.action, action_words());
    }
    for (const auto& slip : slips) {
        LOG.warning(slip.text());
    }
}
