#pragma once

#include "modem/modem.hpp"

#include <array>

/// The run loop's table: what a pass does in each state.
struct Modem::Steps {
    struct Row {
        State state;
        Pass (Modem::*step)();
    };

    static constexpr std::array TABLE{
        Row{State::NO_MODEM_HARDWARE, &Modem::step_no_hardware},
        Row{State::OFF, &Modem::step_off},
        Row{State::POWER_OFF, &Modem::step_power_off},
        Row{State::POWER_ON, &Modem::step_power_on},
        Row{State::WAITING_FOR_ATPORT, &Modem::step_waiting_for_port},
        Row{State::UNINITIALIZED, &Modem::step_uninitialized},
        Row{State::WAITING_FOR_SIM, &Modem::step_waiting_for_sim},
        Row{State::INITIALIZED, &Modem::step_initialized},
        Row{State::CONFIGURED, &Modem::step_configured},
        Row{State::RESET, &Modem::step_reset},
        Row{State::REGISTERING, &Modem::step_registering},
        Row{State::REGISTERED, &Modem::step_registered},
        Row{State::ACTIVATE_CONTEXT, &Modem::step_activate_context},
        Row{State::CONNECTED, &Modem::step_connected},
        Row{State::DISCONNECTED, &Modem::step_disconnected},
        Row{State::SEARCHING, &Modem::step_searching},
        Row{State::AT_PORT_LOST, &Modem::step_port_lost},
        Row{State::BACKOFF, &Modem::step_backoff},
        Row{State::DTC_HW_ERROR, &Modem::step_hw_error},
    };

    static constexpr bool in_order()
    {
        for (std::size_t i = 0; i < TABLE.size(); ++i) {
            if (static_cast<std::size_t>(TABLE[i].state) != i) {
                return false;
            }
        }
        return TABLE.size() == MODEM_STATE_COUNT;
    }
};
