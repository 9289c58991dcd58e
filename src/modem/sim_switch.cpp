#include "modem/sim_switch.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr const char* SELECTED = "SIM selected, the module takes it up";
constexpr const char* ERRORS = "SIM errors in a row";

} // namespace

SimSwitch::SimSwitch(SimHandler& sim, const std::shared_ptr<GpioCtrl>& gpio,
                     const std::shared_ptr<ModemVariant>& variant, ModulePower& power, DataContext& context,
                     ModemData& data, StateMachine& machine, Escalation& escalation, Resets& resets,
                     HardwareError& hardware_error, const ModemLimits& limits)
    : sim_(sim), gpio_(gpio), variant_(variant), power_(power), context_(context), data_(data),
      machine_(machine), escalation_(escalation), resets_(resets), hardware_error_(hardware_error),
      limits_(limits)
{
}

bool SimSwitch::select_after_power_up()
{
    if (selected_in_ == power_.power_ups()) {
        return true;
    }
    if (!sim_.select_after_power_up(gpio_)) {
        return true; // nothing to select, or it failed (counted); it is tried again once the module is
                     // configured
    }
    selected();
    return !variant_->sim_selection_restarts_module() || !machine_.change(S::AT_PORT_LOST, SELECTED);
}

void SimSwitch::check()
{
    if (!machine_.traits().sim_watched) {
        return;
    }
    sim_.catch_up();
    const bool changed = sim_.handle_sim_change(gpio_);
    if (static_cast<std::uint32_t>(sim_.error_counter()) >= limits_.max_sim_errors) {
        errors_exhausted(); // before anything else: a card that is selected over and over never gets well
    } else if (changed) {
        take_up_changed();
    }
}

void SimSwitch::take_up_changed()
{
    selected();
    data_.operator_data = {}; // the operator of the previous SIM
    if (variant_->sim_selection_restarts_module()) {
        machine_.change(S::AT_PORT_LOST, SELECTED); // set up anew: everything volatile is lost
        return;
    }
    power_.publish(pb::ModemStatus_ModemState_DISCONNECTING);
    context_.deactivate();
    machine_.change(S::WAITING_FOR_SIM, SELECTED);
    data_.pb_state(pb::ModemStatus_ModemState_ENABLED); // no connection while the new card is awaited
}

void SimSwitch::errors_exhausted()
{
    sim_.clear_errors();
    LOG.notice("Resetting the Modem due to SIM Card communication retrial");
    if (escalation_.strike(Cause::SIM_ERRORS) == Verdict::RESET) {
        resets_.prepare(pb::ModemStatus_ModemResetReason_SIM_ERROR, ERRORS);
    } else {
        hardware_error_.owe(std::string(ERRORS) + ", resets in vain");
    }
}
