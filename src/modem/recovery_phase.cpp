#include "modem/recovery_phase.hpp"

#include <ecu/kova/logging.hpp>

namespace {

using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

RecoveryPhase::RecoveryPhase(ModulePower& power, Escalation& escalation, const Orders& orders)
    : power_(power), escalation_(escalation), orders_(orders)
{
}

void RecoveryPhase::entered(ModemState, ModemState)
{
    logged_ = false;
    supply_taken_ = false;
}

Pass RecoveryPhase::step(ModemState now)
{
    return now == S::RESET ? reset() : given_up();
}

Pass RecoveryPhase::reset()
{
    const Verdict verdict = escalation_.strike(Cause::RESET);
    const auto count = escalation_.count(Cause::RESET);
    const auto limit = escalation_.limit(Cause::RESET);
    if (verdict == Verdict::END) {
        LOG.error("Max reset counter (", count, "/", limit, ") has been reached, exited with failure");
        LOG.notice(
            "The module is switched off and celld ends with status 0: the service manager starts it anew, "
            "and with it the count");
        power_.off(); // nobody supervises the module from here on
        return {true};
    }
    LOG.notice("Reset counter: ", count, "/", limit);
    power_.reboot();
    return {};
}

Pass RecoveryPhase::given_up()
{
    if (!logged_) {
        LOG.error("Hardware error: state machine is not going anywhere until next boot");
        LOG.notice("A restart of the service tries the module again; the trouble code was sent and stays "
                   "with who has "
                   "received it");
        logged_ = true;
    }
    if (orders_.silence_wanted() && !supply_taken_) {
        LOG.notice("Radio silence: remove the supply of the faulty module");
        power_.switch_off();
        power_.publish(ecu::kova::pb::ModemStatus_ModemState_FAILED);
        supply_taken_ = true;
    }
    return {false, PASS_PAUSE};
}
