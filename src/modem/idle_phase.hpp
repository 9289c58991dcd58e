#pragma once

#include "modem/module_power.hpp"
#include "modem/orders.hpp"
#include "modem/phase.hpp"
#include "modem/run_action.hpp"
#include "modem/state_machine.hpp"
#include "modem/unit_settings.hpp"

#include <ecu/kova/var/variables_client.hpp>

#include <memory>

/// NO_MODEM_HARDWARE, OFF and POWER_OFF: the module has no supply, or is losing it. Knows what keeps it off.
class IdlePhase final : public Phase {
public:
    IdlePhase(StateMachine& machine, ModulePower& power, const Orders& orders, const UnitSettings& settings,
              std::shared_ptr<ecu::kova::var::SystemParametersClient> parameters, const RunAction& action);

    Pass step(ModemState now) override;

    /// Keeps the module off until the process starts again.
    void subscription_refused() { subscription_refused_ = true; }
    /// Where radio silence, or its end, leads.
    ModemState evaluate_radio_silence() const;

private:
    Pass step_off();
    void read_off_parameter();

    StateMachine& machine_;
    ModulePower& power_;
    const Orders& orders_;
    const UnitSettings& settings_;
    std::shared_ptr<ecu::kova::var::SystemParametersClient> parameters_;
    const RunAction& action_;
    bool off_by_parameter_; // "ModemOnOff", read again while off
    bool subscription_refused_ = false;
};
