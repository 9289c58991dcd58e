#include "modem/decisions.hpp"
#include "modem/modem.hpp"
#include "modem/modem_rooms.hpp"

// The operations by name; each belongs to the room that does it.

void Modem::message(const std::string& topic, const ecu::kova::com::Message& message)
{
    bus_inbox_.message(topic, message);
}

void Modem::urc(const AtCommandResponse& response)
{
    urcs_.push(response);
}

void Modem::power_on()
{
    rooms_->power.on();
}

void Modem::power_off()
{
    rooms_->power.off();
}

void Modem::reboot()
{
    rooms_->power.reboot();
}

void Modem::restart_at_port()
{
    rooms_->power.restart_port();
}

void Modem::prepare_reset(ecu::kova::pb::ModemStatus_ModemResetReason reason)
{
    rooms_->resets.prepare(reason, ASKED_FOR);
}

void Modem::reset_if_be_timer_expired()
{
    rooms_->link.reset_if_backend_timer_expired();
}

bool Modem::set_internal_hw_error_dtc()
{
    return rooms_->hardware_error.report(ASKED_FOR);
}

void Modem::setup()
{
    rooms_->setup.set_up();
}

Result Modem::configure()
{
    return rooms_->setup.configure();
}

Result Modem::setup_context()
{
    auto result = rooms_->context.set_up();
    if (result.is_ok()) {
        machine_.change(State::CONFIGURED, "SIM ready, context set up");
    }
    return result;
}

ActivationCode Modem::activate_context()
{
    return rooms_->context.activate();
}

void Modem::check_sim()
{
    rooms_->sim_switch.check();
}

bool Modem::is_network_search_active()
{
    return rooms_->search.query_active();
}

Result Modem::start_network_search()
{
    return rooms_->search.start();
}

Result Modem::stop_network_search(unsigned int seconds)
{
    auto result = rooms_->search.stop(seconds);
    rooms_->registration.forget();
    return result;
}

void Modem::update_registration_status()
{
    rooms_->registration.update();
}

Modem::State Modem::evaluate_registration_status(bool search_active) const
{
    return rooms_->registration.evaluate(search_active);
}

Modem::State Modem::evaluate_backoff_timer() const
{
    const auto& backoff = rooms_->backoff;
    return decisions::by_backoff(state(), backoff.active(), backoff.type());
}

Modem::State Modem::evaluate_radio_silence() const
{
    return rooms_->idle.evaluate_radio_silence();
}

Modem::CommunicationStatus Modem::get_communication_status()
{
    return rooms_->port_health.query();
}

bool Modem::process_urc_queue()
{
    return rooms_->inbox.process();
}
