#pragma once

#include "at/at_tty_port.hpp"
#include "modem/escalation.hpp"
#include "modem/hardware_error.hpp"
#include "modem/module_power.hpp"
#include "modem/pass_counter.hpp"
#include "modem/phase.hpp"
#include "modem/resets.hpp"
#include "modem/run_action.hpp"
#include "modem/state_machine.hpp"
#include "timer/clock.hpp"

/// POWER_ON, WAITING_FOR_ATPORT and AT_PORT_LOST: until the module's port is there.
class BootPhase final : public Phase {
public:
    /// Passes, about seconds, until a module whose port is not there counts as not booting.
    static constexpr std::uint32_t PORT_WAIT = 45;

    BootPhase(StateMachine& machine, ModulePower& power, const AtTtyPort& port, Escalation& escalation,
              Resets& resets, HardwareError& hardware_error, const Clock& clock, const RunAction& action);

    void entered(ModemState now, ModemState from) override;
    Pass step(ModemState now) override;
    void left(ModemState now, ModemState next) override;

private:
    Pass wait_for_port();
    Pass count_pass();

    StateMachine& machine_;
    ModulePower& power_;
    const AtTtyPort& port_;
    Escalation& escalation_;
    Resets& resets_;
    HardwareError& hardware_error_;
    const Clock& clock_;
    const RunAction& action_;
    PassCounter port_wait_{PORT_WAIT};
};
