#pragma once

#include "at/at_tty_port.hpp"
#include "modem/data_context.hpp"
#include "modem/escalation.hpp"
#include "modem/phase.hpp"
#include "modem/resets.hpp"
#include "modem/run_action.hpp"
#include "modem/state_machine.hpp"
#include "sim/sim_handler.hpp"

/// WAITING_FOR_SIM and CONFIGURED: the card becomes ready, and the data context is defined for it.
class CardPhase final : public Phase {
public:
    /// A module that answers all but "+CPIN?" is reset after so many time-outs in a row, as one that answers
    /// nothing is.
    static constexpr int MAX_UNANSWERED = 11;

    CardPhase(StateMachine& machine, SimHandler& sim, DataContext& context, AtTtyPort& port,
              Escalation& escalation, Resets& resets, const RunAction& action);

    Pass step(ModemState now) override;

private:
    Pass wait_for_sim();
    bool select_preferred_list();
    Pass not_ready();
    Pass context_failed(const AtError& error);

    StateMachine& machine_;
    SimHandler& sim_;
    DataContext& context_;
    AtTtyPort& port_;
    Escalation& escalation_;
    Resets& resets_;
    const RunAction& action_;
};
