#include "modem/card_phase.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

CardPhase::CardPhase(StateMachine& machine, SimHandler& sim, DataContext& context, AtTtyPort& port,
                     Escalation& escalation, Resets& resets, const RunAction& action)
    : machine_(machine), sim_(sim), context_(context), port_(port), escalation_(escalation), resets_(resets),
      action_(action)
{
}

Pass CardPhase::step(ModemState now)
{
    if (now == S::WAITING_FOR_SIM) {
        return wait_for_sim();
    }
    return {action_ == RunAction::CONFIGURE, PASS_PAUSE};
}

Pass CardPhase::wait_for_sim()
{
    if (!sim_.unlock_pin()) {
        return not_ready();
    }
    const auto set_up = context_.set_up();
    if (!set_up.is_ok() && set_up.unwrapErr().is_interruption()) {
        return {};
    }
    if (!set_up.is_ok()) {
        return context_failed(set_up.unwrapErr());
    }
    if (action_ != RunAction::CONFIGURE && !select_preferred_list()) {
        return {};
    }
    escalation_.context_set_up();
    machine_.change(S::CONFIGURED, "SIM ready, context set up");
    if (action_ != RunAction::CONFIGURE) {
        machine_.change(S::REGISTERING, "SIM ready, context set up");
    }
    return {};
}

/// That of the user (3GPP TS 27.007, 7.20); a module without it still registers. False when an order overtook
/// it: all this is done anew then.
bool CardPhase::select_preferred_list()
{
    const auto list = port_.execute(AtCommand("+CPLS=1"));
    return list.is_ok() || !list.unwrapErr().is_interruption();
}

Pass CardPhase::not_ready()
{
    if (sim_.unanswered() >= MAX_UNANSWERED) {
        LOG.error("The module did not answer +CPIN? ", sim_.unanswered(),
                  " times in a row, initiate modem reset.");
        resets_.prepare(pb::ModemStatus_ModemResetReason_AT_PORT_TIMEOUT, "+CPIN? not answered");
        return {};
    }
    LOG.info("Waiting for SIM to be ready.");
    return {false, PASS_PAUSE};
}

Pass CardPhase::context_failed(const AtError& error)
{
    LOG.error("Context setup error (", static_cast<int>(error.code), "): '", error.message, "' message: '",
              error.final_response, "'");
    if (escalation_.strike(Cause::CONTEXT_SET_UP_FAILED) == Verdict::AGAIN) {
        return {false, PASS_PAUSE};
    }
    LOG.error("Unable to setup the context accordingly, after ",
              escalation_.limit(Cause::CONTEXT_SET_UP_FAILED), " times in a roll, initiate modem reset.");
    resets_.prepare(pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR, "data context refused at set-up");
    return {};
}
