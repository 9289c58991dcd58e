#include "modem/modem.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr const char* HW_ERROR_TOPIC = "rt/system/status_modem_module_error";
constexpr auto REBOOT_PAUSE = 2s;       // supply away
constexpr auto PORT_RESTART_PAUSE = 2s; // for the USB device to go
constexpr unsigned int BACKEND_DEREGISTRATION_S = 10;

} // namespace

void Modem::power_on()
{
    publish_state(pb::ModemStatus_ModemState_ENABLING);
    if (gpio_ != nullptr) {
        ModemVariant::power_on(gpio_);
    }
    change_state(State::WAITING_FOR_ATPORT);
    data_.pb_state(pb::ModemStatus_ModemState_ENABLED);
    port_wait_.start(port_);
}

void Modem::power_off()
{
    port_wait_.stop_and_join();
    if (state_ == State::OFF) {
        return;
    }
    switch_module_off();
    backoff_active_ = false;
    backoff_schedule_.next.reset();
    hw_error_supply_off_ = false;
    change_state(State::OFF);
    publish_state(pb::ModemStatus_ModemState_DISABLED);
}

/// At once and without asking the module anything: what follows may take a minute.
void Modem::publish_state(pb::ModemStatus_ModemState state)
{
    data_.pb_state(state);
    if (status_ != nullptr) {
        status_->publish();
    }
}

/// Everything up to the module without supply and forgotten; the state is the caller's.
void Modem::switch_module_off()
{
    port_wait_.stop_and_join();
    if (antenna_ != nullptr) {
        antenna_->stop();
    }
    activation_.restart();
    pdp_wait_.restart();
    busy_in_a_row_ = 0;
    selected_sim_ = defs::SimType::NONE;
    publish_state(pb::ModemStatus_ModemState_DISABLING);
    if (variant_ != nullptr && gpio_ != nullptr) {
        variant_->power_off(gpio_, port_);
    } else if (gpio_ != nullptr) {
        gpio_->vcc(GpioCtrl::PinValue::LOW); // a module that never answered has no family, but a supply
    }
    static_cast<void>(port_->stop()); // off is off, whatever it answers
    forget_module();
}

/// The module has restarted, or may have: its PIN and reports are forgotten, and so is what it said.
void Modem::forget_module()
{
    sim_.forget_ready();
    urcs_.clear();
    data_.reset();
    data_.antenna.forget();
    next_registration_update_.reset();
}

void Modem::reboot()
{
    power_off();
    clock_.sleep_for(REBOOT_PAUSE);
    if (blackout_ || stop_requested_) {
        return; // stays off
    }
    if (change_state(State::POWER_ON)) {
        power_on();
    }
}

void Modem::restart_at_port()
{
    port_wait_.stop_and_join();
    static_cast<void>(port_->stop()); // it is opened anew either way
    clock_.sleep_for(PORT_RESTART_PAUSE);
    forget_module();
    change_state(State::WAITING_FOR_ATPORT);
    data_.pb_state(pb::ModemStatus_ModemState_ENABLED); // as after power-on: the port is awaited
    port_wait_.start(port_);
}

void Modem::prepare_reset(pb::ModemStatus_ModemResetReason reason)
{
    if (!is_transition_allowed(state_, State::RESET)) {
        change_state(State::RESET); // logs the refusal; the bus hears of no reset that is not made
        return;
    }
    data_.pb_reset_reason(reason);
    update_status(true);
    change_state(State::RESET);
}

void Modem::reset_if_be_timer_expired()
{
    // Outside the network group the flag is of a connection that is gone: cleared unused.
    if (!backend_watch_.take_expired() || !row_of(state_).traits.network) {
        return;
    }
    static_cast<void>(stop_network_search(BACKEND_DEREGISTRATION_S)); // the module is reset next
    prepare_reset(pb::ModemStatus_ModemResetReason_BACKEND_TIMEOUT);
}

bool Modem::set_internal_hw_error_dtc()
{
    if (!is_transition_allowed(state_, State::DTC_HW_ERROR)) {
        return false;
    }
    if (!utils::publish_rt_data_raw(bus_, HW_ERROR_TOPIC, {0x01})) {
        LOG.error("Unable to publish on ", HW_ERROR_TOPIC, " with data 01");
        return false;
    }
    hw_error_logged_ = false;
    change_state(State::DTC_HW_ERROR);
    LOG.notice("DTC ", HW_ERROR_TOPIC, " SENT");
    return true;
}
