#include "modem/modem.hpp"
#include "modem/modem_pauses.hpp"

#include <ecu/kova/application.hpp>
#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto NO_HARDWARE_PAUSE = 10s;
constexpr int PORT_LOG_INTERVAL_S = 10; // of the wall clock
constexpr int SIM_READY_POLLS = 3;
constexpr auto SIM_READY_PAUSE = 3s;
constexpr std::uint32_t MAX_CONTEXT_FAILURES = 5; // in a row

} // namespace

Modem::Pass Modem::publish_and_rest(pb::ModemStatus_ModemState state, std::chrono::milliseconds rest)
{
    data_.pb_state(state);
    return {false, rest};
}

Modem::Pass Modem::step_no_hardware()
{
    ecu::kova::application_ready();
    return publish_and_rest(pb::ModemStatus_ModemState_DISABLED, NO_HARDWARE_PAUSE);
}

Modem::Pass Modem::step_off()
{
    ecu::kova::application_ready();
    data_.pb_state(pb::ModemStatus_ModemState_DISABLED);
    if (!blackout_ && hardware_variant_.find("RMX") != std::string::npos) {
        read_off_parameter();
    }
    const bool may_switch_on = action_ != RunAction::POWER_OFF; // a "poweroff" run keeps the module off
    if (may_switch_on && !off_by_parameter_or_refusal()) {
        change_state(evaluate_radio_silence());
    }
    return {false, PASS_PAUSE};
}

Modem::Pass Modem::step_power_off()
{
    power_off();
    return {};
}

Modem::Pass Modem::step_power_on()
{
    power_on();
    return {action_ == RunAction::POWER_ON, 0ms};
}

Modem::Pass Modem::step_waiting_for_port()
{
    ecu::kova::application_ready();
    if (port_->is_available()) {
        port_wait_.stop_and_join();
        port_failures_ = 0;
        change_state(State::UNINITIALIZED);
        return {};
    }
    if (port_failures_ >= limits_.max_modem_resets_before_dtc) {
        set_internal_hw_error_dtc();
        return {false, PASS_PAUSE};
    }
    if (!port_wait_passes_.expired()) {
        const auto second =
            std::chrono::floor<std::chrono::seconds>(clock_.wall_now()).time_since_epoch().count();
        if (second % PORT_LOG_INTERVAL_S == 0) {
            LOG.info("Waiting for AT port to be available.");
        }
        port_wait_passes_.tick();
        return {false, PASS_PAUSE};
    }
    LOG.warning("AT port never became available after ", port_wait_passes_.count(), " retries!");
    ++port_failures_;
    prepare_reset(pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE);
    port_wait_passes_.restart();
    return {};
}

Modem::Pass Modem::step_uninitialized()
{
    setup();
    return {};
}

Modem::Pass Modem::step_initialized()
{
    if (antenna_ != nullptr) {
        antenna_->start();
    }
    if (action_ == RunAction::INIT) {
        return {true, 0ms};
    }
    if (!select_sim()) {
        return {};
    }
    poll_sim_ready();
    const auto configured = configure();
    if (!configured.is_ok()) {
        const AtError& error = configured.unwrapErr();
        LOG.error("Configuration error (", static_cast<int>(error.code), "): '", error.message,
                  "' message: '", error.final_response, "' initiate modem reset.");
        prepare_reset(pb::ModemStatus_ModemResetReason_CONFIGURATION_ERROR);
    }
    return {};
}

/// Once in every power-up of the module. False when the selection has restarted the module, which must be set
/// up anew.
bool Modem::select_sim()
{
    if (selected_sim_ != defs::SimType::NONE || gpio_ == nullptr) {
        return true;
    }
    if (!sim_.select_after_power_up(gpio_)) {
        return true; // nothing to select, or it failed (counted); it is tried again once the module is
                     // configured
    }
    selected_sim_ = sim_.current_type();
    return !variant_->sim_selection_restarts_module() || !change_state(State::AT_PORT_LOST);
}

/// Goes on either way: a card that needs longer is waited for in WAITING_FOR_SIM.
void Modem::poll_sim_ready()
{
    for (int poll = 1; poll <= SIM_READY_POLLS && !sim_.sim_ready(); ++poll) {
        if (poll < SIM_READY_POLLS) {
            clock_.sleep_for(SIM_READY_PAUSE);
        }
    }
}

Modem::Pass Modem::step_waiting_for_sim()
{
    if (!sim_.sim_ready()) {
        LOG.info("Waiting for SIM to be ready.");
        return {false, PASS_PAUSE};
    }
    const auto set_up = setup_context();
    if (!set_up.is_ok()) {
        return context_setup_failed(set_up.unwrapErr());
    }
    context_failures_ = 0;
    if (action_ != RunAction::CONFIGURE) {
        // The preferred list of the user (3GPP TS 27.007, 7.20); a module without it still registers.
        static_cast<void>(port_->execute(AtCommand("+CPLS=1")));
        change_state(State::REGISTERING);
    }
    return {};
}

Modem::Pass Modem::context_setup_failed(const AtError& error)
{
    LOG.error("Context setup error (", static_cast<int>(error.code), "): '", error.message, "' message: '",
              error.final_response, "'");
    if (++context_failures_ < MAX_CONTEXT_FAILURES) {
        return {false, PASS_PAUSE};
    }
    LOG.error("Unable to setup the context accordingly, after ", context_failures_,
              " times in a roll, initiate modem reset.");
    context_failures_ = 0;
    prepare_reset(pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR);
    return {};
}

Modem::Pass Modem::step_configured()
{
    if (action_ == RunAction::CONFIGURE) {
        return {true, 0ms};
    }
    pdp_wait_.restart();
    return {false, PASS_PAUSE};
}

Modem::Pass Modem::step_reset()
{
    ++resets_;
    if (resets_ >= limits_.max_modem_reset) {
        LOG.error("Max reset counter (", resets_, "/", limits_.max_modem_reset,
                  ") has been reached, exited with failure");
        power_off(); // nobody supervises the module from here on
        return {true, 0ms};
    }
    LOG.notice("Reset counter: ", resets_, "/", limits_.max_modem_reset);
    reboot();
    return {};
}

Modem::Pass Modem::step_port_lost()
{
    LOG.notice("Port Lost, will restart it!");
    restart_at_port();
    return {};
}

Modem::Pass Modem::step_hw_error()
{
    if (!hw_error_logged_) {
        LOG.error("Hardware error: state machine is not going anywhere until next boot");
        hw_error_logged_ = true;
    }
    return publish_and_rest(pb::ModemStatus_ModemState_FAILED, PASS_PAUSE);
}
