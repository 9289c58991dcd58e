#include "modem/state_table.hpp"

#include <ecu/kova/logging.hpp>

#include <algorithm>

namespace {

using S = ModemState;
using P = PhaseId;
namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem.state");

constexpr std::array FROM_OFF{S::POWER_ON, S::NO_MODEM_HARDWARE};
constexpr std::array FROM_POWER_OFF{S::OFF, S::NO_MODEM_HARDWARE};
constexpr std::array FROM_POWER_ON{S::WAITING_FOR_ATPORT, S::NO_MODEM_HARDWARE};
constexpr std::array FROM_WAITING_FOR_ATPORT{S::RESET, S::UNINITIALIZED, S::DTC_HW_ERROR};
constexpr std::array FROM_UNINITIALIZED{S::RESET, S::INITIALIZED};
constexpr std::array FROM_WAITING_FOR_SIM{S::RESET, S::CONFIGURED, S::AT_PORT_LOST, S::DTC_HW_ERROR};
constexpr std::array FROM_INITIALIZED{S::RESET, S::WAITING_FOR_SIM, S::AT_PORT_LOST};
constexpr std::array FROM_CONFIGURED{S::RESET,      S::REGISTERING,  S::SEARCHING,
                                     S::REGISTERED, S::AT_PORT_LOST, S::DTC_HW_ERROR};
constexpr std::array FROM_RESET{S::OFF};
constexpr std::array FROM_REGISTERING{S::RESET,           S::REGISTERED,   S::SEARCHING,   S::DISCONNECTED,
                                      S::WAITING_FOR_SIM, S::AT_PORT_LOST, S::DTC_HW_ERROR};
constexpr std::array FROM_AT_PORT_LOST{S::WAITING_FOR_ATPORT};
constexpr std::array FROM_BACKOFF{S::REGISTERING};
constexpr std::span<const S> ANY;

constexpr StateTraits PLAIN{};
constexpr StateTraits ON_PORT{.port_owed = true};
constexpr StateTraits WITH_CARD{.port_owed = true, .sim_watched = true};
constexpr StateTraits ON_NETWORK{.network = true, .port_owed = true, .sim_watched = true};
constexpr StateTraits IN_SEARCH{.network = true, .searching = true, .port_owed = true, .sim_watched = true};

constexpr auto DISABLED = pb::ModemStatus_ModemState_DISABLED;
constexpr auto ENABLED = pb::ModemStatus_ModemState_ENABLED;
constexpr auto CONNECTING = pb::ModemStatus_ModemState_CONNECTING;
constexpr auto DISCONNECTING = pb::ModemStatus_ModemState_DISCONNECTING;

constexpr std::array<StateRow, MODEM_STATE_COUNT> TABLE{{
    {S::NO_MODEM_HARDWARE, "Modem::State::NO_MODEM_HARDWARE", ANY, PLAIN, DISABLED, P::IDLE, std::nullopt,
     "The board has no modem; nothing is done."},
    {S::OFF, "Modem::State::OFF", FROM_OFF, PLAIN, DISABLED, P::IDLE, S::POWER_ON,
     "No supply. Left unless radio silence, parameter 41060, a refused subscription or the word `poweroff` "
     "keep the module off."},
    {S::POWER_OFF, "Modem::State::POWER_OFF", FROM_POWER_OFF, PLAIN, std::nullopt, P::IDLE, std::nullopt,
     "The module is being powered off, on the way to `OFF`."},
    {S::POWER_ON, "Modem::State::POWER_ON", FROM_POWER_ON, PLAIN, std::nullopt, P::BOOT,
     S::WAITING_FOR_ATPORT, "Supply and power-on line are being switched."},
    {S::WAITING_FOR_ATPORT, "Modem::State::WAITING_FOR_ATPORT", FROM_WAITING_FOR_ATPORT, PLAIN, ENABLED,
     P::BOOT, S::UNINITIALIZED,
     "The module boots; its TTY is awaited, {port_wait} s at most before a reset. After {port_failures} such "
     "resets in vain the hardware error is reported."},
    {S::UNINITIALIZED, "Modem::State::UNINITIALIZED", FROM_UNINITIALIZED, PLAIN, std::nullopt, P::SET_UP,
     S::INITIALIZED,
     "Port opened, module identified, persistent settings compared. A difference is corrected and the module "
     "reset once."},
    {S::WAITING_FOR_SIM, "Modem::State::WAITING_FOR_SIM", FROM_WAITING_FOR_SIM, WITH_CARD, std::nullopt,
     P::CARD, S::CONFIGURED, "The SIM is awaited and unlocked, then the data context is set up."},
    {S::INITIALIZED, "Modem::State::INITIALIZED", FROM_INITIALIZED, ON_PORT, std::nullopt, P::SET_UP,
     S::WAITING_FOR_SIM, "The SIM is selected and the module's reports are switched on."},
    {S::CONFIGURED, "Modem::State::CONFIGURED", FROM_CONFIGURED, WITH_CARD, std::nullopt, P::CARD,
     S::REGISTERING, "SIM and context are ready."},
    {S::RESET, "Modem::State::RESET", FROM_RESET, PLAIN, std::nullopt, P::RECOVERY, std::nullopt,
     "The module is being restarted through its supply; number {max_resets} in a row ends the daemon."},
    {S::REGISTERING, "Modem::State::REGISTERING", FROM_REGISTERING, IN_SEARCH, CONNECTING, P::SEARCH,
     S::REGISTERED,
     "The network search runs. After {reattach} s it starts anew, after {search_reset} s the module is "
     "reset."},
    {S::REGISTERED, "Modem::State::REGISTERED", ANY, ON_NETWORK, CONNECTING, P::ATTACH, S::ACTIVATE_CONTEXT,
     "Registered; the data context is being activated, {activation_tries} times at most."},
    {S::ACTIVATE_CONTEXT, "Modem::State::ACTIVATE_CONTEXT", ANY, ON_NETWORK, CONNECTING, P::ATTACH,
     S::CONNECTED, "Waits {context_wait} s at most until the data context is active."},
    {S::CONNECTED, "Modem::State::CONNECTED", ANY, ON_NETWORK, std::nullopt, P::LINK, std::nullopt,
     "The link is up. Registration, context and backend are supervised."},
    {S::DISCONNECTED, "Modem::State::DISCONNECTED", ANY, IN_SEARCH, DISCONNECTING, P::SEARCH, std::nullopt,
     "The network denies the registration. Supervised as `REGISTERING`."},
    {S::SEARCHING, "Modem::State::SEARCHING", ANY, IN_SEARCH, pb::ModemStatus_ModemState_SEARCHING, P::SEARCH,
     std::nullopt, "The module searches. Supervised as `REGISTERING`."},
    {S::AT_PORT_LOST, "Modem::State::AT_PORT_LOST", FROM_AT_PORT_LOST, PLAIN, std::nullopt, P::BOOT,
     std::nullopt, "The port has gone or is to be opened anew; the supply stays."},
    {S::BACKOFF, "Modem::State::BACKOFF", FROM_BACKOFF, ON_PORT, DISCONNECTING, P::BARRED, std::nullopt,
     "The network has barred the module for a while; it is left alone and asked every {backoff_query} s."},
    {S::DTC_HW_ERROR, "Modem::State::DTC_HW_ERROR", ANY, PLAIN, pb::ModemStatus_ModemState_FAILED,
     P::RECOVERY, std::nullopt, "The hardware error was reported. Only a stop leads out of it."},
}};

constexpr bool in_order()
{
    for (std::size_t i = 0; i < TABLE.size(); ++i) {
        const auto& row = TABLE[i];
        const bool network_range = row.state >= S::REGISTERING && row.state <= S::SEARCHING;
        if (static_cast<std::size_t>(row.state) != i || row.traits.network != network_range) {
            return false;
        }
    }
    return true;
}
static_assert(in_order());

} // namespace

const std::array<StateRow, MODEM_STATE_COUNT>& state_table()
{
    return TABLE;
}

const StateRow& row_of(ModemState state)
{
    return TABLE.at(static_cast<std::size_t>(state));
}

std::string state_text(ModemState state)
{
    const auto index = static_cast<std::size_t>(state);
    return index < TABLE.size() ? TABLE[index].text : "";
}

bool is_transition_allowed(ModemState from, ModemState to)
{
    if (to == S::OFF || to == S::POWER_OFF) {
        return true;
    }
    const auto row = row_of(from).may_go_to;
    return row.empty() || std::find(row.begin(), row.end(), to) != row.end();
}

bool transition_allowed(ModemState from, ModemState to)
{
    if (to == S::OFF || to == S::POWER_OFF) {
        LOG.info("To State is ", state_text(to), ", allow always!");
    } else if (row_of(from).may_go_to.empty()) {
        LOG.debug("No state transition rule defined for state: ", state_text(from), ", allow it!");
    }
    return is_transition_allowed(from, to);
}
