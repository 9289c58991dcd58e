#include "modem/modem_state.hpp"

#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <array>

namespace {

using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem.state");

constexpr std::array<const char*, MODEM_STATE_COUNT> NAMES{
    "Modem::State::NO_MODEM_HARDWARE",  "Modem::State::OFF",
    "Modem::State::POWER_OFF",          "Modem::State::POWER_ON",
    "Modem::State::WAITING_FOR_ATPORT", "Modem::State::UNINITIALIZED",
    "Modem::State::WAITING_FOR_SIM",    "Modem::State::INITIALIZED",
    "Modem::State::CONFIGURED",         "Modem::State::RESET",
    "Modem::State::REGISTERING",        "Modem::State::REGISTERED",
    "Modem::State::ACTIVATE_CONTEXT",   "Modem::State::CONNECTED",
    "Modem::State::DISCONNECTED",       "Modem::State::SEARCHING",
    "Modem::State::AT_PORT_LOST",       "Modem::State::BACKOFF",
    "Modem::State::DTC_HW_ERROR",
};

constexpr std::array FROM_OFF{S::POWER_ON, S::NO_MODEM_HARDWARE};
constexpr std::array FROM_POWER_OFF{S::OFF, S::NO_MODEM_HARDWARE};
constexpr std::array FROM_POWER_ON{S::WAITING_FOR_ATPORT, S::NO_MODEM_HARDWARE};
constexpr std::array FROM_RESET{S::OFF};
constexpr std::array FROM_AT_PORT_LOST{S::WAITING_FOR_ATPORT};
constexpr std::array FROM_WAITING_FOR_ATPORT{S::RESET, S::UNINITIALIZED, S::DTC_HW_ERROR};
constexpr std::array FROM_UNINITIALIZED{S::RESET, S::INITIALIZED};
constexpr std::array FROM_INITIALIZED{S::RESET, S::WAITING_FOR_SIM, S::AT_PORT_LOST};
constexpr std::array FROM_WAITING_FOR_SIM{S::RESET, S::CONFIGURED, S::AT_PORT_LOST, S::DTC_HW_ERROR};
constexpr std::array FROM_CONFIGURED{S::RESET,      S::REGISTERING,  S::SEARCHING,
                                     S::REGISTERED, S::AT_PORT_LOST, S::DTC_HW_ERROR};
constexpr std::array FROM_REGISTERING{S::RESET,           S::REGISTERED,   S::SEARCHING,   S::DISCONNECTED,
                                      S::WAITING_FOR_SIM, S::AT_PORT_LOST, S::DTC_HW_ERROR};
constexpr std::array FROM_BACKOFF{S::REGISTERING};

} // namespace

std::string state_text(ModemState state)
{
    const auto index = static_cast<std::size_t>(state);
    return index < NAMES.size() ? NAMES[index] : "";
}

std::span<const ModemState> transition_row(ModemState from)
{
    switch (from) {
    case S::OFF:
        return FROM_OFF;
    case S::POWER_OFF:
        return FROM_POWER_OFF;
    case S::POWER_ON:
        return FROM_POWER_ON;
    case S::RESET:
        return FROM_RESET;
    case S::AT_PORT_LOST:
        return FROM_AT_PORT_LOST;
    case S::WAITING_FOR_ATPORT:
        return FROM_WAITING_FOR_ATPORT;
    case S::UNINITIALIZED:
        return FROM_UNINITIALIZED;
    case S::INITIALIZED:
        return FROM_INITIALIZED;
    case S::WAITING_FOR_SIM:
        return FROM_WAITING_FOR_SIM;
    case S::CONFIGURED:
        return FROM_CONFIGURED;
    case S::REGISTERING:
        return FROM_REGISTERING;
    case S::BACKOFF:
        return FROM_BACKOFF;
    // The run loop moves among the connected and searching states freely, and the end states leave by OFF
    // alone.
    case S::NO_MODEM_HARDWARE:
    case S::REGISTERED:
    case S::ACTIVATE_CONTEXT:
    case S::CONNECTED:
    case S::DISCONNECTED:
    case S::SEARCHING:
    case S::DTC_HW_ERROR:
        break;
    }
    return {};
}

bool is_transition_allowed(ModemState from, ModemState to)
{
    if (to == S::OFF || to == S::POWER_OFF) {
        return true;
    }
    const auto row = transition_row(from);
    return row.empty() || std::find(row.begin(), row.end(), to) != row.end();
}

bool transition_allowed(ModemState from, ModemState to)
{
    if (to == S::OFF || to == S::POWER_OFF) {
        LOG.info("To State is ", state_text(to), ", allow always!");
    } else if (transition_row(from).empty()) {
        LOG.debug("No state transition rule defined for state: ", state_text(from), ", allow it!");
    }
    return is_transition_allowed(from, to);
}
