#pragma once

#include "data/modem_data.hpp"
#include "gpio/gpio_ctrl.hpp"
#include "modem/data_context.hpp"
#include "modem/escalation.hpp"
#include "modem/hardware_error.hpp"
#include "modem/module_power.hpp"
#include "modem/resets.hpp"
#include "modem/state_machine.hpp"
#include "sim/sim_handler.hpp"
#include "variant/modem_variant.hpp"

#include <memory>
#include <optional>

/// Follows the SIM: selects it after a power-up, takes up a changed one, and judges a card that never works.
/// Main thread only. Logs on "celld.modem".
class SimSwitch {
public:
    SimSwitch(SimHandler& sim, const std::shared_ptr<GpioCtrl>& gpio,
              const std::shared_ptr<ModemVariant>& variant, ModulePower& power, DataContext& context,
              ModemData& data, StateMachine& machine, Escalation& escalation, Resets& resets,
              HardwareError& hardware_error, const ModemLimits& limits);

    /// Once in every power-up of the module. False when the selection has restarted the module, which must be
    /// set up anew.
    bool select_after_power_up();
    /// In the states where the SIM is looked after.
    void check();

private:
    void selected() { selected_in_ = power_.power_ups(); }
    void take_up_changed();
    void errors_exhausted();

    SimHandler& sim_;
    const std::shared_ptr<GpioCtrl>& gpio_;
    const std::shared_ptr<ModemVariant>& variant_;
    ModulePower& power_;
    DataContext& context_;
    ModemData& data_;
    StateMachine& machine_;
    Escalation& escalation_;
    Resets& resets_;
    HardwareError& hardware_error_;
    const ModemLimits& limits_;
    std::optional<std::uint32_t> selected_in_; // the power-up in which a SIM was selected last
};
