#pragma once

#include "modem/escalation.hpp"
#include "modem/module_power.hpp"
#include "modem/orders.hpp"
#include "modem/phase.hpp"

/// RESET and DTC_HW_ERROR: the module is restarted, or given up.
class RecoveryPhase final : public Phase {
public:
    RecoveryPhase(ModulePower& power, Escalation& escalation, const Orders& orders);

    void entered(ModemState now, ModemState from) override;
    Pass step(ModemState now) override;

private:
    Pass reset();
    Pass given_up();

    ModulePower& power_;
    Escalation& escalation_;
    const Orders& orders_;
    bool logged_ = false;
    bool supply_taken_ = false; // for radio silence
};
