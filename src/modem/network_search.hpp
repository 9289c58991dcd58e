#pragma once

#include "at/at_tty_port.hpp"
#include "timer/clock.hpp"
#include "utils/lasting_failure.hpp"

#include <optional>

/// The module's operator selection ("+COPS", 3GPP TS 27.007, 7.3). Main thread only: a command takes up to
/// three minutes. Logs on "celld.modem".
class NetworkSearch {
public:
    /// Seconds after "+COPS=2" until the module has deregistered.
    static constexpr unsigned int DEREGISTRATION_S = 5;

    /// `pauses` ends its pauses early when something overtakes them.
    NetworkSearch(AtTtyPort& port, Clock& pauses);

    /// Asks whether the automatic selection runs; once in a pass, and again after a start or stop.
    bool query_active();
    /// A new pass: what was asked in the last one is old.
    void begin_pass() { active_.reset(); }

    Result start();
    /// Waits `seconds` after a success, so that the module has deregistered before the caller goes on.
    Result stop(unsigned int seconds = DEREGISTRATION_S);

private:
    bool ask();

    AtTtyPort& port_;
    Clock& pauses_;
    std::optional<bool> active_; // the answer of this pass
    LastingFailure unknown_;
};
