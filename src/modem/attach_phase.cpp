#include "modem/attach_phase.hpp"

#include "modem/causes.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto ACTIVATION_PAUSE = 2s;
constexpr const char* BUSY = "data path to the unit busy (CDC-ECM)";

} // namespace

AttachPhase::AttachPhase(StateMachine& machine, RegistrationWatch& registration, NetworkSearch& search,
                         DataContext& context, Escalation& escalation, Resets& resets, IdlePhase& idle,
                         const ModemData& data)
    : machine_(machine), registration_(registration), search_(search), context_(context),
      escalation_(escalation), resets_(resets), idle_(idle), data_(data)
{
}

void AttachPhase::entered(ModemState now, ModemState from)
{
    if (now == S::ACTIVATE_CONTEXT) {
        rat_at_activation_ = data_.nw_reg.rat;
        return;
    }
    tries_.restart();
    if (from != S::ACTIVATE_CONTEXT) { // an access technology that keeps changing does not wait for ever
        context_wait_.restart();
    }
}

Pass AttachPhase::step(ModemState now)
{
    registration_.update();
    return now == S::REGISTERED ? activate() : await_context();
}

Pass AttachPhase::activate()
{
    registration_.follow();
    if (machine_.state() != S::REGISTERED) {
        return {};
    }
    if (data_.nw_reg.rat == defs::RAT_EUTRAN) {
        LOG.info("EUTRAN/LTE, no need to activate the context.");
    } else if (const auto code = context_.activate(); code != ActivationCode::ACTIVATED) {
        return activation_failed(code);
    }
    escalation_.data_path_free();
    machine_.change(S::ACTIVATE_CONTEXT, "the data context is asked for");
    return {};
}

Pass AttachPhase::activation_failed(ActivationCode code)
{
    if (code == ActivationCode::NOT_SUBSCRIBED) {
        LOG.error(
            "Subscriber is not allowed to setup a data context ('Service not subscribed'), modem will be "
            "turned off");
        LOG.notice("It stays off until the service is restarted");
        idle_.subscription_refused();
        machine_.change(S::POWER_OFF, "service not subscribed");
        return {};
    }
    if (code == ActivationCode::INTERRUPTED) {
        return {};
    }
    if (code == ActivationCode::UNANSWERED) {
        LOG.warning(
            "The context activation was not answered in three minutes, re-registration will be triggered");
        escalation_.data_path_free();
        give_up("context activation not answered"); // at once: another try would take three minutes again
        return {};
    }
    if (code != ActivationCode::CDC_ECM_BUSY) {
        return unsuccessful();
    }
    LOG.warning("Data context activation failed as CDC-ECM is busy, re-register.");
    if (escalation_.strike(Cause::DATA_PATH_BUSY) == Verdict::GIVE_UP) {
        give_up(BUSY);
        return {};
    }
    machine_.change(S::REGISTERING, BUSY);
    return {false, ACTIVATION_PAUSE};
}

Pass AttachPhase::unsuccessful()
{
    escalation_.data_path_free();
    if (tries_.expired()) {
        LOG.warning("Other context activation failure after ", tries_.count(),
                    " retries, re-registration will be triggered");
        give_up("context activation refused again and again");
        return {};
    }
    LOG.notice("Context activation unsuccessful (", tries_.count(), "/", tries_.limit(), " )!");
    tries_.tick();
    return {false, ACTIVATION_PAUSE};
}

/// Registers anew; when that has not helped either for a while, the module is reset.
void AttachPhase::give_up(const char* cause)
{
    if (escalation_.strike(Cause::ACTIVATION_GIVEN_UP) == Verdict::RESET) {
        LOG.error("No data context after ", escalation_.limit(Cause::ACTIVATION_GIVEN_UP),
                  " registrations, initiate modem reset.");
        resets_.prepare(pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR,
                        std::string(cause) + ", in several registrations");
        return;
    }
    static_cast<void>(search_.stop()); // REGISTERING starts it again either way
    registration_.forget();
    machine_.change(S::REGISTERING, cause);
}

Pass AttachPhase::await_context()
{
    if (!registration_.is_registered()) {
        machine_.change(S::REGISTERING, causes::of_registration(data_));
        return {};
    }
    if (context_.query() == ContextState::ACTIVE) {
        machine_.change(S::CONNECTED, "the data context is active");
        return {};
    }
    if (context_wait_.expired()) {
        LOG.warning("PDP/EPS context never got activated after ", context_wait_.count(),
                    " retries, re-registration will be triggered");
        give_up("the data context did not become active");
        return {};
    }
    if (data_.nw_reg.rat != rat_at_activation_) {
        LOG.notice("RAT changed from ", defs::text_of(defs::RAT_ENUM_MAP, rat_at_activation_), " to ",
                   defs::text_of(defs::RAT_ENUM_MAP, data_.nw_reg.rat), " re-initiate activation.");
        context_wait_.tick();
        machine_.change(S::REGISTERED, "access technology changed");
        return {false, PASS_PAUSE};
    }
    LOG.info("Waiting for PDP/EPS context activation (", context_wait_.count(), "/", context_wait_.limit(),
             " )!");
    context_wait_.tick();
    return {false, PASS_PAUSE};
}
