#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "modem/escalation.hpp"
#include "modem/persistent_settings.hpp"
#include "modem/resets.hpp"
#include "modem/state_machine.hpp"
#include "sim/sim_handler.hpp"
#include "timer/clock.hpp"
#include "variant/modem_variant.hpp"

#include <memory>

/// Takes a freshly powered module into a known configuration. Main thread only: blocks for the time-outs of
/// its commands. Logs on "celld.modem".
class ModuleSetup {
public:
    ModuleSetup(const std::shared_ptr<AtTtyPort>& port, std::shared_ptr<ModemVariant>& variant,
                SimHandler& sim, ModemData& data, StateMachine& machine, Escalation& escalation,
                Resets& resets, Clock& clock);

    /// Opens the port, learns what module this is and corrects its persistent settings. Its outcome is the
    /// state INITIALIZED, a reset, or the end of the process (see PersistentSettings).
    void set_up();
    /// Switches the unsolicited reports on; WAITING_FOR_SIM after that. The error of a failed command carries
    /// its text as its message.
    Result configure();

private:
    /// False when it was interrupted.
    bool identify();
    bool wants_restart(const PersistentSettings::Change& change);

    const std::shared_ptr<AtTtyPort>& port_;
    std::shared_ptr<ModemVariant>& variant_;
    SimHandler& sim_;
    ModemData& data_;
    StateMachine& machine_;
    Escalation& escalation_;
    Resets& resets_;
    // Made once, so that what a family says once is not said at each set-up.
    const std::shared_ptr<ModemVariant> sara_;
    const std::shared_ptr<ModemVariant> toby_;
};
