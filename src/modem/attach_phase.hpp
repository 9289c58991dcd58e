#pragma once

#include "data/modem_data.hpp"
#include "modem/data_context.hpp"
#include "modem/escalation.hpp"
#include "modem/idle_phase.hpp"
#include "modem/network_search.hpp"
#include "modem/pass_counter.hpp"
#include "modem/phase.hpp"
#include "modem/registration_watch.hpp"
#include "modem/resets.hpp"
#include "modem/state_machine.hpp"

/// REGISTERED and ACTIVATE_CONTEXT: registered, until the data context is up.
class AttachPhase final : public Phase {
public:
    /// Vain activations before the module registers anew.
    static constexpr std::uint32_t ACTIVATION_TRIES = 20;
    /// Passes, about seconds, for a context to come up.
    static constexpr std::uint32_t CONTEXT_WAIT = 120;

    AttachPhase(StateMachine& machine, RegistrationWatch& registration, NetworkSearch& search,
                DataContext& context, Escalation& escalation, Resets& resets, IdlePhase& idle,
                const ModemData& data);

    void entered(ModemState now, ModemState from) override;
    Pass step(ModemState now) override;

private:
    Pass activate();
    Pass await_context();
    Pass activation_failed(ActivationCode code);
    Pass unsuccessful();
    void give_up(const char* cause);

    StateMachine& machine_;
    RegistrationWatch& registration_;
    NetworkSearch& search_;
    DataContext& context_;
    Escalation& escalation_;
    Resets& resets_;
    IdlePhase& idle_;
    const ModemData& data_;
    PassCounter tries_{ACTIVATION_TRIES};
    PassCounter context_wait_{CONTEXT_WAIT};
    int rat_at_activation_ = defs::RAT_INVALID;
};
