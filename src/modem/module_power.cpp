#include "modem/module_power.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

namespace pb = ecu::kova::pb;
using S = ModemState;

constexpr auto REBOOT_PAUSE = 2s;       // supply away
constexpr auto PORT_RESTART_PAUSE = 2s; // for the USB device to go
constexpr auto STUCK_LOG_INTERVAL = 60s;

} // namespace

ModulePower::ModulePower(const Touches& touches, StateMachine& machine, ModemData& data, const Orders& orders,
                         Clock& pauses)
    : touches_(touches), machine_(machine), data_(data), orders_(orders), pauses_(pauses)
{
}

void ModulePower::publish(pb::ModemStatus_ModemState state)
{
    data_.pb_state(state);
    touches_.status.publish();
}

void ModulePower::on()
{
    ++power_ups_;
    touches_.escalation.powered_up();
    publish(pb::ModemStatus_ModemState_ENABLING);
    ModemVariant::power_on(touches_.gpio);
    machine_.change(S::WAITING_FOR_ATPORT, "module switched on");
    port_wait_.start(touches_.port);
}

void ModulePower::off()
{
    port_wait_.stop_and_join();
    if (machine_.state() == S::OFF) {
        return;
    }
    switch_off();
    const char* cause = machine_.state() == S::RESET ? "the module is being reset" : "module switched off";
    machine_.change(S::OFF, orders_.stop_wanted() ? "the service is being stopped" : cause);
    touches_.status.publish();
}

void ModulePower::switch_off()
{
    port_wait_.stop_and_join();
    stop_antenna();
    publish(pb::ModemStatus_ModemState_DISABLING);
    if (touches_.variant != nullptr) {
        touches_.variant->power_off(touches_.gpio, touches_.port);
    } else {
        touches_.gpio->vcc(
            GpioCtrl::PinValue::LOW); // a module that never answered has no family, but a supply
    }
    static_cast<void>(touches_.port->stop()); // off is off, whatever it answers
    take_supply();
    forget_module();
}

/// What the antenna asks a module that is to be switched off is given up: it would hold the supply up for as
/// long as a command may take.
void ModulePower::stop_antenna()
{
    touches_.port->interrupt();
    touches_.antenna.stop();
    if (!orders_.stop_wanted()) { // what a stop has overtaken stays so
        touches_.port->resume();
    }
}

/// The family's sequence does not say whether its last write succeeded; the same once more does.
void ModulePower::take_supply()
{
    if (touches_.gpio->vcc(GpioCtrl::PinValue::LOW)) {
        if (stuck_told_) {
            LOG.notice("The module's supply is away now");
        }
        stuck_told_.reset();
        return;
    }
    const auto now = pauses_.now();
    if (!stuck_told_ || now - *stuck_told_ >= STUCK_LOG_INTERVAL) {
        LOG.error("The module's supply could not be taken away (line VCC), it may still be on; trying again");
        stuck_told_ = now;
    }
}

bool ModulePower::supply_stuck()
{
    if (stuck_told_) {
        take_supply();
    }
    return stuck_told_.has_value();
}

/// The module has restarted, or may have: its PIN and reports are forgotten, and so is what it said.
void ModulePower::forget_module()
{
    touches_.sim.forget_ready();
    touches_.urcs.clear();
    touches_.backoff.forget();
    touches_.registration.forget();
    data_.reset();
    data_.antenna.forget();
}

void ModulePower::reboot()
{
    off();
    pauses_.sleep_for(REBOOT_PAUSE);
    if (orders_.silence_wanted() || orders_.stop_wanted()) {
        return; // stays off
    }
    if (machine_.change(S::POWER_ON, "the module is being reset")) {
        on();
    }
}

void ModulePower::restart_port()
{
    port_wait_.stop_and_join();
    static_cast<void>(touches_.port->stop()); // it is opened anew either way
    pauses_.sleep_for(PORT_RESTART_PAUSE);
    forget_module();
    machine_.change(S::WAITING_FOR_ATPORT, "the port is opened anew");
    port_wait_.start(touches_.port);
}
