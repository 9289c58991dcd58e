#include "modem/idle_phase.hpp"

#include "modem/decisions.hpp"

#include <ecu/kova/application.hpp>
#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto NO_HARDWARE_PAUSE = 10s;

} // namespace

IdlePhase::IdlePhase(StateMachine& machine, ModulePower& power, const Orders& orders,
                     const UnitSettings& settings,
                     std::shared_ptr<ecu::kova::var::SystemParametersClient> parameters,
                     const RunAction& action)
    : machine_(machine), power_(power), orders_(orders), settings_(settings),
      parameters_(std::move(parameters)), action_(action), off_by_parameter_(settings.off_by_parameter)
{
}

Pass IdlePhase::step(ModemState now)
{
    if (now == S::POWER_OFF) {
        power_.off();
        return {};
    }
    ecu::kova::application_ready();
    return now == S::OFF ? step_off() : Pass{false, NO_HARDWARE_PAUSE};
}

Pass IdlePhase::step_off()
{
    static_cast<void>(power_.supply_stuck());
    if (!orders_.silence_wanted() && settings_.heeds_off_parameter()) {
        read_off_parameter();
    }
    if (action_ != RunAction::POWER_OFF) { // such a run keeps the module off
        machine_.change(evaluate_radio_silence(), "nothing keeps the module off");
    }
    return {false, PASS_PAUSE};
}

void IdlePhase::read_off_parameter()
{
    const bool off = orders_off(parameters_->get(MODEM_ON_OFF));
    if (off != off_by_parameter_) {
        LOG.notice("ModemOnOff parameter indicates to ", off ? "not start" : "start", " the modem.");
    }
    off_by_parameter_ = off;
}

ModemState IdlePhase::evaluate_radio_silence() const
{
    const bool kept_off = off_by_parameter_ || subscription_refused_;
    return decisions::by_radio_silence(machine_.state(), kept_off, orders_.silence_wanted());
}
