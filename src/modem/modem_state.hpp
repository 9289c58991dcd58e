#pragma once

#include <cstddef>
#include <span>
#include <string>

/// Where the modem stands. The values are fixed: ranges of them are tested.
enum class ModemState : int {
    NO_MODEM_HARDWARE = 0,
    OFF = 1,
    POWER_OFF = 2,
    POWER_ON = 3,
    WAITING_FOR_ATPORT = 4,
    UNINITIALIZED = 5,
    WAITING_FOR_SIM = 6,
    INITIALIZED = 7,
    CONFIGURED = 8,
    RESET = 9,
    REGISTERING = 10,
    REGISTERED = 11,
    ACTIVATE_CONTEXT = 12,
    CONNECTED = 13,
    DISCONNECTED = 14,
    SEARCHING = 15,
    AT_PORT_LOST = 16,
    BACKOFF = 17,
    DTC_HW_ERROR = 18,
};

constexpr std::size_t MODEM_STATE_COUNT = 19;

/// "Modem::State::OFF"; empty for a value that is no state.
std::string state_text(ModemState state);

/// `REGISTERING` to `SEARCHING`: the module is set up and the network matters.
constexpr bool in_network_group(ModemState state)
{
    return state >= ModemState::REGISTERING && state <= ModemState::SEARCHING;
}

/// The states whose passes the network-search counters count.
constexpr bool is_searching(ModemState state)
{
    return state == ModemState::REGISTERING || state == ModemState::DISCONNECTED ||
           state == ModemState::SEARCHING;
}

/// Whether `from` may go to `to`: OFF and POWER_OFF always; else what the state's row names; a state without
/// a row may go anywhere. Logs on "celld.modem.state" why.
bool transition_allowed(ModemState from, ModemState to);

/// The same, unlogged.
bool is_transition_allowed(ModemState from, ModemState to);

/// The states that `from` may go to besides OFF and POWER_OFF; empty when there is no restriction.
std::span<const ModemState> transition_row(ModemState from);
