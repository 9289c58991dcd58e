#pragma once

#include "modem/module_setup.hpp"
#include "modem/phase.hpp"
#include "modem/resets.hpp"
#include "modem/run_action.hpp"
#include "modem/sim_switch.hpp"
#include "sim/sim_handler.hpp"
#include "status/antenna_handler.hpp"
#include "timer/clock.hpp"

/// UNINITIALIZED and INITIALIZED: the module is identified and set up, the SIM selected, the reports switched
/// on.
class SetUpPhase final : public Phase {
public:
    SetUpPhase(ModuleSetup& setup, SimSwitch& sim_switch, SimHandler& sim, AntennaHandler& antenna,
               Resets& resets, Clock& pauses, const RunAction& action);

    Pass step(ModemState now) override;

private:
    Pass step_initialized();
    void unlock_sim();

    ModuleSetup& setup_;
    SimSwitch& sim_switch_;
    SimHandler& sim_;
    AntennaHandler& antenna_;
    Resets& resets_;
    Clock& pauses_;
    const RunAction& action_;
};
