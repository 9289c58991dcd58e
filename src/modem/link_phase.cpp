#include "modem/link_phase.hpp"

#include "modem/causes.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto CONNECTED_PAUSE = 2s;
constexpr unsigned int BACKEND_DEREGISTRATION_S = 10;

} // namespace

LinkPhase::LinkPhase(const Touches& touches, StateMachine& machine, ModemData& data, const Orders& orders,
                     const ModemLimits& limits, Clock& clock, const RunAction& action)
    : touches_(touches), machine_(machine), data_(data), orders_(orders), limits_(limits), action_(action),
      backend_watch_([&orders] { return orders.backend_connected(); }, clock)
{
}

/// What went wrong on the way is forgiven.
void LinkPhase::entered(ModemState, ModemState)
{
    touches_.escalation.forgive();
    touches_.sim.clear_errors();
    touches_.hardware_error.forget();
}

Pass LinkPhase::step(ModemState)
{
    if (action_ == RunAction::CONNECT) {
        return {true};
    }
    touches_.registration.update();
    if (!touches_.registration.is_registered()) {
        machine_.change(S::REGISTERING, causes::of_registration(data_));
        return {};
    }
    // Only an answer counts: an error or a time-out takes no working link down.
    if (touches_.context.query() == ContextState::INACTIVE) {
        context_lost();
        return {};
    }
    watch_backend();
    return {false, CONNECTED_PAUSE};
}

void LinkPhase::context_lost()
{
    LOG.warning("Data context lost, re-register!");
    touches_.power.publish(pb::ModemStatus_ModemState_CONNECTING); // now: stopping the search takes a while
    static_cast<void>(touches_.search.stop());                     // REGISTERING starts it again either way
    touches_.registration.forget();
    machine_.change(S::REGISTERING, "context lost");
}

void LinkPhase::watch_backend()
{
    if (orders_.backend_connected()) {
        if (backend_watch_.active()) {
            LOG.notice("BE connection detected, stopping timer");
            backend_watch_.stop();
        }
        data_.pb_state(pb::ModemStatus_ModemState_CONNECTED);
        return;
    }
    data_.pb_state(pb::ModemStatus_ModemState_CONNECTING);
    if (limits_.modem_restart_timeout != 0 && !backend_watch_.active()) {
        LOG.notice("No BE connection, starting timer");
        backend_watch_.start(limits_.modem_restart_timeout);
    }
}

void LinkPhase::reset_if_backend_timer_expired()
{
    // Outside the network group the flag is of a connection that is gone: cleared unused.
    if (!backend_watch_.take_expired() || !machine_.traits().network) {
        return;
    }
    touches_.power.publish(pb::ModemStatus_ModemState_DISCONNECTING);  // now: it takes a while
    static_cast<void>(touches_.search.stop(BACKEND_DEREGISTRATION_S)); // the module is reset next
    touches_.registration.forget();
    touches_.resets.prepare(pb::ModemStatus_ModemResetReason_BACKEND_TIMEOUT,
                            "backend absent for " + std::to_string(limits_.modem_restart_timeout) + " min");
}
