#include "modem/set_up_phase.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr int SIM_READY_POLLS = 3;
constexpr auto SIM_READY_PAUSE = 3s;

} // namespace

SetUpPhase::SetUpPhase(ModuleSetup& setup, SimSwitch& sim_switch, SimHandler& sim, AntennaHandler& antenna,
                       Resets& resets, Clock& pauses, const RunAction& action)
    : setup_(setup), sim_switch_(sim_switch), sim_(sim), antenna_(antenna), resets_(resets), pauses_(pauses),
      action_(action)
{
}

Pass SetUpPhase::step(ModemState now)
{
    if (now == S::UNINITIALIZED) {
        setup_.set_up();
        return {};
    }
    return step_initialized();
}

Pass SetUpPhase::step_initialized()
{
    antenna_.start();
    if (action_ == RunAction::INIT) {
        return {true};
    }
    if (!sim_switch_.select_after_power_up()) {
        return {};
    }
    unlock_sim();
    const auto configured = setup_.configure();
    if (!configured.is_ok() && !configured.unwrapErr().is_interruption()) {
        const AtError& error = configured.unwrapErr();
        LOG.error("Configuration error (", static_cast<int>(error.code), "): '", error.message,
                  "' message: '", error.final_response, "' initiate modem reset.");
        resets_.prepare(pb::ModemStatus_ModemResetReason_CONFIGURATION_ERROR,
                        error.message + " refused at set-up");
    }
    return {};
}

/// Goes on either way: a card that needs longer is waited for in WAITING_FOR_SIM.
void SetUpPhase::unlock_sim()
{
    for (int poll = 1; poll <= SIM_READY_POLLS && !sim_.unlock_pin(); ++poll) {
        if (poll < SIM_READY_POLLS) {
            pauses_.sleep_for(SIM_READY_PAUSE);
        }
    }
}
