#pragma once

#include <cstddef>
#include <string>

/// Where the modem stands. The values are fixed: bus tools and log readers know them.
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
