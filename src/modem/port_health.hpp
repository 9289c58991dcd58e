#pragma once

#include "at/at_tty_port.hpp"
#include "modem/escalation.hpp"
#include "modem/resets.hpp"
#include "modem/state_machine.hpp"

/// Whether the AT channel works, and what follows when it does not. Main thread only. Logs on "celld.modem".
class PortHealth {
public:
    enum class Status : int { HEALTHY = 0, LOST = 1, WRITE_ERRORS = 2, TIMEOUTS = 3 };

    PortHealth(AtTtyPort& port, StateMachine& machine, Escalation& escalation, Resets& resets)
        : port_(port), machine_(machine), escalation_(escalation), resets_(resets)
    {
    }

    /// Sends a probe when the port says that it is not available.
    Status query();
    /// In the states where a working port is owed: a lost port leads to AT_PORT_LOST, one that is lost again
    /// and again without a connection, or a bad one, to a reset.
    void watch();

private:
    void port_lost();

    AtTtyPort& port_;
    StateMachine& machine_;
    Escalation& escalation_;
    Resets& resets_;
};
