#pragma once

#include "data/modem_data.hpp"
#include "modem/state_machine.hpp"
#include "status/status_handler.hpp"

#include <string>

/// Asks for a reset of the module: the bus hears why, then the state is RESET, where it is made. Main thread
/// only.
class Resets {
public:
    using Reason = ecu::kova::pb::ModemStatus_ModemResetReason;

    Resets(StateMachine& machine, ModemData& data, StatusHandler& status)
        : machine_(machine), data_(data), status_(status)
    {
    }

    /// `reason` is for the bus, `cause` says more, for people. Where the present state allows none, the
    /// refusal is logged and the bus hears of none.
    void prepare(Reason reason, const std::string& cause);

private:
    StateMachine& machine_;
    ModemData& data_;
    StatusHandler& status_;
};
