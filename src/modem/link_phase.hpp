#pragma once

#include "data/modem_data.hpp"
#include "modem/backend_watch.hpp"
#include "modem/data_context.hpp"
#include "modem/escalation.hpp"
#include "modem/hardware_error.hpp"
#include "modem/modem_limits.hpp"
#include "modem/module_power.hpp"
#include "modem/network_search.hpp"
#include "modem/orders.hpp"
#include "modem/phase.hpp"
#include "modem/registration_watch.hpp"
#include "modem/resets.hpp"
#include "modem/run_action.hpp"
#include "modem/state_machine.hpp"
#include "sim/sim_handler.hpp"

/// CONNECTED: the link is up. Watches registration, context and backend.
class LinkPhase final : public Phase {
public:
    /// What is touched when a connection begins, and how one ends.
    struct Touches {
        RegistrationWatch& registration;
        NetworkSearch& search;
        DataContext& context;
        ModulePower& power;
        SimHandler& sim;
        Escalation& escalation;
        Resets& resets;
        HardwareError& hardware_error;
    };

    LinkPhase(const Touches& touches, StateMachine& machine, ModemData& data, const Orders& orders,
              const ModemLimits& limits, Clock& clock, const RunAction& action);

    void entered(ModemState now, ModemState from) override;
    Pass step(ModemState now) override;
    /// The backend watch lasts as long as the network group.
    void network_left() override { backend_watch_.stop(); }

    /// No backend for too long: resets the module.
    void reset_if_backend_timer_expired();
    /// Joins the watch's thread.
    void stop_watch() { backend_watch_.stop(); }

private:
    void context_lost();
    void watch_backend();

    Touches touches_;
    StateMachine& machine_;
    ModemData& data_;
    const Orders& orders_;
    const ModemLimits& limits_;
    const RunAction& action_;
    BackendWatch backend_watch_;
};
