#include "modem/modem_rooms.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

Modem::Rooms::Ground::Ground(Modem& modem, const std::function<bool()>& stop_seen)
    : bus(ecu::kova::com::create_client(*modem.configuration_, modem.transport_)),
      subscription(std::make_shared<utils::SubscriptionWrapper>(&modem)),
      parameters(ecu::kova::var::create_sysparams_client()),
      variables(std::make_shared<StoppableVariables>(
          ecu::kova::var::create_var_client(),
          [&modem, stop_seen] { return modem.orders_.stop_wanted() || (stop_seen && stop_seen()); },
          modem.clock_)),
      status(modem.port_, &modem.data_, bus, modem.clock_), settings(read(modem))
{
}

UnitSettings Modem::Rooms::Ground::read(Modem& modem)
{
    // Before anything below can fail or wait: what the last run left on the bus is no longer true, and radio
    // silence and the backend are heard in any case.
    status.leave_last_will();
    status.publish();
    for (const char* topic : {BusInbox::BLACKOUT_TOPIC, BusInbox::BACKEND_TOPIC}) {
        if (!bus->subscribe(topic, subscription)) {
            LOG.error("Unable to subscribe to ", topic,
                      ": what is said there is not heard until celld is restarted");
        }
    }
    const auto variable = [this](const char* name, std::optional<std::chrono::milliseconds> patience) {
        return patience ? variables->get(name, "", *patience) : variables->await(name);
    };
    const auto board_ready = [this, &modem] {
        gpio = GpioCtrl::create(variables, modem.clock_);
        return !variables->stop_wanted() && gpio->init();
    };
    return read_unit_settings({*modem.configuration_,
                               [this](std::uint32_t id) { return parameters->get(id); }, variable,
                               board_ready});
}

Modem::Rooms::Rooms(Modem& modem, const std::function<bool()>& stop_seen)
    : ground(modem, stop_seen), journal(modem.data_, modem.clock_), escalation(ground.settings.limits),
      backoff(modem.data_.nw_friendly_mode), sim(modem.port_, &modem.data_, modem.pauses_),
      antenna(modem.port_, &modem.data_, ground.bus, ground.settings.antenna, ground.settings.antenna_limits,
              modem.clock_),
      search(*modem.port_, modem.pauses_),
      registration(*modem.port_, ground.variant, modem.data_, modem.machine_, search, modem.clock_),
      context(modem.port_, ground.variant, modem.data_, search),
      resets(modem.machine_, modem.data_, ground.status), hardware_error(modem.machine_, ground.bus),
      power({modem.port_, ground.gpio, ground.variant, antenna, sim, ground.status, modem.urcs_, backoff,
             registration, escalation},
            modem.machine_, modem.data_, modem.orders_, modem.pauses_),
      setup(modem.port_, ground.variant, sim, modem.data_, modem.machine_, escalation, resets, modem.clock_),
      sim_switch(sim, ground.gpio, ground.variant, power, context, modem.data_, modem.machine_, escalation,
                 resets, hardware_error, ground.settings.limits),
      inbox(modem.urcs_, modem.data_, sim, registration, modem.machine_, modem.clock_),
      port_health(*modem.port_, modem.machine_, escalation, resets),
      vigil(modem.machine_, power, resets, ground.settings.limits, modem.clock_),
      idle(modem.machine_, power, modem.orders_, ground.settings, ground.parameters, modem.action_),
      boot(modem.machine_, power, *modem.port_, escalation, resets, hardware_error, modem.clock_,
           modem.action_),
      set_up(setup, sim_switch, sim, antenna, resets, modem.pauses_, modem.action_),
      card(modem.machine_, sim, context, *modem.port_, escalation, resets, modem.action_),
      searching(modem.machine_, registration, search, resets, ground.settings.limits),
      attach(modem.machine_, registration, search, context, escalation, resets, idle, modem.data_),
      link({registration, search, context, power, sim, escalation, resets, hardware_error}, modem.machine_,
           modem.data_, modem.orders_, ground.settings.limits, modem.clock_, modem.action_),
      barred(modem.machine_, backoff, modem.port_, ground.variant, modem.clock_),
      recovery(power, escalation, modem.orders_), machine(modem.machine_)
{
    sim.bus(ground.bus);
    if (ground.settings.sim_lock_active_high) {
        sim.lock_active_on(SimHandler::ActiveValue::HIGH);
    }
    modem.data_.internal_sim = SimAccess(ground.settings.internal_sim);
    modem.data_.external_sim = SimAccess(ground.settings.external_sim);
    machine.observer([this](const StateChange& change) { journal.changed(change); });
    machine.attach(PhaseId::IDLE, idle);
    machine.attach(PhaseId::BOOT, boot);
    machine.attach(PhaseId::SET_UP, set_up);
    machine.attach(PhaseId::CARD, card);
    machine.attach(PhaseId::SEARCH, searching);
    machine.attach(PhaseId::ATTACH, attach);
    machine.attach(PhaseId::LINK, link);
    machine.attach(PhaseId::BARRED, barred);
    machine.attach(PhaseId::RECOVERY, recovery);
}

Modem::Rooms::~Rooms()
{
    ground.subscription->target(nullptr); // waits for a message that is being delivered
    power.end_port_wait();
    machine.observer({});
    machine.detach_all();
}
