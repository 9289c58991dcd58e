#include "modem/decisions.hpp"
#include "modem/modem.hpp"
#include "modem/modem_steps.hpp"

#include <ecu/kova/logging.hpp>

#include <sstream>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto FLUSH_TIMEOUT = 2s; // for the last state to reach the broker

} // namespace

void Modem::run(RunAction action)
{
    action_ = action;
    running_.store(true);
    LOG.notice("Start running modem state machine.");
    system_parameters_ = ecu::kova::var::create_sysparams_client();
    try {
        loop();
    } catch (const std::exception& error) { // no memory, no thread: nobody supervises the module from here on
        LOG.error("The state machine cannot go on: ", error.what());
        power_off();
    }
    finish();
    system_parameters_.reset();
}

void Modem::loop()
{
    while (!stop_wanted()) {
        const Pass wanted = pass();
        if (wanted.leave) {
            return;
        }
        if (wanted.rest > 0ms) {
            clock_.sleep_for(wanted.rest);
        }
    }
    power_off();
}

/// Whatever ended the loop: no thread is left, and a late subscriber finds the last state.
void Modem::finish()
{
    port_wait_.stop_and_join();
    if (antenna_ != nullptr) {
        antenna_->stop();
    }
    backend_watch_.stop();
    if (state_ == State::OFF) {
        update_status(true);
    }
    if (bus_ != nullptr && !bus_->flush(FLUSH_TIMEOUT)) {
        LOG.notice("The last state did not reach the broker");
    }
}

Modem::Pass Modem::pass()
{
    log_network_status();
    keep_radio_silence();
    // A "configure" run ends in CONFIGURED: nothing carries the state on before the loop has seen it.
    if (action_ != RunAction::CONFIGURE || state_ != State::CONFIGURED) {
        reset_if_be_timer_expired();
        process_urc_queue();
        check_sim();
    }
    retry_hw_error_report();

    static_assert(Steps::in_order());
    const auto step = Steps::TABLE[static_cast<std::size_t>(state_.load())].step;
    Pass wanted = (this->*step)();
    if (!wanted.leave) {
        const State before = state_;
        watch_port_health();
        if (state_ != before) {
            wanted.rest = 0ms;
        }
    }
    update_status(false);
    return wanted;
}

void Modem::log_network_status()
{
    if (!LOG.wants(ecu::kova::logging::Level::DEBUG)) {
        return;
    }
    const auto& reg = data_.nw_reg;
    std::ostringstream text;
    const auto line = [&text](const char* label, const defs::EnumMap& map, int value) {
        text << label << defs::text_of(map, value) << " (" << value << ")\n";
    };
    text << "Current state: " << state_text(state_) << "  NW status:\n";
    line("    general CREG: ", defs::CREG_ENUM_MAP, reg.c_reg);
    line("    GPRS   CGREG: ", defs::CREG_ENUM_MAP, reg.cg_reg);
    line("    LTE    CEREG: ", defs::CREG_ENUM_MAP, reg.ce_reg);
    line("             RAT: ", defs::RAT_ENUM_MAP, reg.rat);
    line("            UREG: ", defs::UREG_ENUM_MAP, reg.ureg);
    if (text.str() != last_network_status_) {
        last_network_status_ = text.str();
        LOG.debug(last_network_status_);
    }
}

void Modem::keep_radio_silence()
{
    if (!blackout_ || state_ == State::OFF || state_ == State::NO_MODEM_HARDWARE) {
        return;
    }
    if (state_ != State::DTC_HW_ERROR) {
        change_state(evaluate_radio_silence());
        return;
    }
    if (!hw_error_supply_off_) {
        LOG.notice("Radio silence: remove the supply of the faulty module");
        switch_module_off();
        hw_error_supply_off_ = true;
    }
}

void Modem::retry_hw_error_report()
{
    if (hw_error_owed_ && is_transition_allowed(state_, State::DTC_HW_ERROR)) {
        hw_error_owed_ = !set_internal_hw_error_dtc();
    }
}

void Modem::watch_port_health()
{
    if (!row_of(state_).traits.port_owed) {
        return;
    }
    const auto status = get_communication_status();
    if (status != CommunicationStatus::HEALTHY && state_ == State::BACKOFF) {
        change_state(State::REGISTERING); // the only way out; the next pass finds the port as bad and acts
        return;
    }
    switch (status) {
    case CommunicationStatus::HEALTHY:
        break;
    case CommunicationStatus::LOST:
        LOG.notice("AtTtyPort not available. Moving to AT_PORT_LOST state");
        change_state(State::AT_PORT_LOST);
        break;
    case CommunicationStatus::WRITE_ERRORS:
        LOG.error("AtTtyPort write error. Reseting modem!");
        prepare_reset(pb::ModemStatus_ModemResetReason_AT_PORT_WRITE_ERROR);
        break;
    case CommunicationStatus::TIMEOUTS:
        LOG.error("AtTtyPort timed out. Reseting modem!");
        prepare_reset(pb::ModemStatus_ModemResetReason_AT_PORT_TIMEOUT);
        break;
    }
}

void Modem::update_status(bool publish_now)
{
    if (status_ != nullptr) {
        status_->update(false, publish_now);
    }
}
