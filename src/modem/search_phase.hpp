#pragma once

#include "modem/modem_limits.hpp"
#include "modem/network_search.hpp"
#include "modem/pass_counter.hpp"
#include "modem/phase.hpp"
#include "modem/registration_watch.hpp"
#include "modem/resets.hpp"
#include "modem/state_machine.hpp"

/// REGISTERING, SEARCHING and DISCONNECTED: no registration. Starts the search anew after a while, and resets
/// the module after a longer one.
class SearchPhase final : public Phase {
public:
    SearchPhase(StateMachine& machine, RegistrationWatch& registration, NetworkSearch& search, Resets& resets,
                const ModemLimits& limits);

    void entered(ModemState now, ModemState from) override;
    Pass step(ModemState now) override;

private:
    Pass count_pass(ModemState now);
    void keep_searching();
    void restart_search();

    StateMachine& machine_;
    RegistrationWatch& registration_;
    NetworkSearch& search_;
    Resets& resets_;
    PassCounter reattach_;
    PassCounter module_reset_;
};
