#include "modem/decisions.hpp"
#include "modem/modem.hpp"
#include "modem/modem_pauses.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

/// In order, up to the first failure; its error carries the command's text as its message.
Result Modem::run_sequence(const ModemVariant::Commands& commands)
{
    for (const auto& command : commands) {
        const auto answer = port_->execute(command);
        if (!answer.is_ok()) {
            const AtError& error = answer.unwrapErr();
            return Result::err({error.code, command.text_for_log(), error.final_response});
        }
    }
    return Result::ok(AtCommandResponse("", "OK"));
}

Result Modem::configure()
{
    ModemVariant::Commands reports{AtCommand("+CREG=2"), AtCommand("+CGREG=2")}; // with location
    const auto& family_reports = variant_->urc_cmds();
    reports.insert(reports.end(), family_reports.begin(), family_reports.end());
    for (const char* command : {"+CGEREP=2,1", "+UREG=1", "+CMER=1,0,0,2,1", "+UCIND=2374"}) {
        reports.emplace_back(command);
    }
    auto result = run_sequence(reports);
    if (result.is_ok()) {
        change_state(State::WAITING_FOR_SIM);
    }
    return result;
}

Result Modem::setup_context()
{
    static_cast<void>(stop_network_search(DEREGISTRATION_S)); // a module that is not searching may refuse
    const bool external = data_.sim.active == defs::SimType::EXTERNAL;
    const auto& access = external ? data_.external_sim : data_.internal_sim;
    auto result = run_sequence(variant_->context_setup_sequence(access.apn, access.user, access.password));
    if (result.is_ok()) {
        change_state(State::CONFIGURED);
    }
    return result;
}

ActivationCode Modem::activate_context()
{
    LOG.debug("Activating context...");
    if (variant_->is_pdp_context_active(port_) == ContextState::ACTIVE) {
        LOG.info("Context already active.");
        return ActivationCode::ACTIVATED;
    }
    return variant_->activate_pdp_context(port_);
}

void Modem::check_sim()
{
    if (!row_of(state_).traits.sim_watched || gpio_ == nullptr) {
        return;
    }
    const bool changed = sim_.handle_sim_change(gpio_);
    if (static_cast<std::uint32_t>(sim_.error_counter()) >= limits_.max_sim_errors) {
        sim_errors_exhausted(); // before anything else: a card that is selected over and over never gets well
    } else if (changed) {
        take_up_changed_sim();
    }
}

void Modem::take_up_changed_sim()
{
    selected_sim_ = sim_.current_type();
    data_.operator_data = {}; // the operator of the previous SIM
    if (variant_->sim_selection_restarts_module()) {
        change_state(State::AT_PORT_LOST); // set up anew: everything volatile is lost
        return;
    }
    if (variant_->is_pdp_context_active(port_) == ContextState::ACTIVE) {
        variant_->deactivate_pdp_context(port_);
    }
    change_state(State::WAITING_FOR_SIM);
    data_.pb_state(pb::ModemStatus_ModemState_ENABLED); // no connection while the new card is awaited
}

void Modem::sim_errors_exhausted()
{
    sim_.clear_errors();
    LOG.notice("Resetting the Modem due to SIM Card communication retrial");
    ++sim_resets_;
    if (sim_resets_ < limits_.max_modem_resets_before_dtc) {
        prepare_reset(pb::ModemStatus_ModemResetReason_SIM_ERROR);
    } else {
        hw_error_owed_ = !set_internal_hw_error_dtc();
    }
}
