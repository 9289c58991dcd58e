#include "modem/boot_phase.hpp"

#include <ecu/kova/application.hpp>
#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr int PORT_LOG_INTERVAL_S = 10; // of the wall clock

} // namespace

BootPhase::BootPhase(StateMachine& machine, ModulePower& power, const AtTtyPort& port, Escalation& escalation,
                     Resets& resets, HardwareError& hardware_error, const Clock& clock,
                     const RunAction& action)
    : machine_(machine), power_(power), port_(port), escalation_(escalation), resets_(resets),
      hardware_error_(hardware_error), clock_(clock), action_(action)
{
}

void BootPhase::entered(ModemState now, ModemState)
{
    if (now == S::WAITING_FOR_ATPORT) {
        port_wait_.restart();
    }
}

void BootPhase::left(ModemState now, ModemState)
{
    if (now == S::WAITING_FOR_ATPORT) {
        power_.end_port_wait();
    }
}

Pass BootPhase::step(ModemState now)
{
    if (now == S::POWER_ON) {
        power_.on();
        return {action_ == RunAction::POWER_ON};
    }
    if (now == S::AT_PORT_LOST) {
        LOG.notice("Port Lost, will restart it!");
        power_.restart_port();
        return {};
    }
    return wait_for_port();
}

Pass BootPhase::wait_for_port()
{
    ecu::kova::application_ready();
    if (escalation_.exhausted(Cause::PORT_MUTE)) { // before another look: a port that is there says nothing
        hardware_error_.report("the module does not answer, resets in vain");
        return {false, PASS_PAUSE};
    }
    if (port_.is_available()) {
        power_.end_port_wait();
        escalation_.port_appeared();
        machine_.change(S::UNINITIALIZED, "port there");
        return {};
    }
    if (escalation_.exhausted(Cause::PORT_ABSENT)) {
        hardware_error_.report("port absent, resets in vain");
        return {false, PASS_PAUSE};
    }
    return count_pass();
}

Pass BootPhase::count_pass()
{
    if (!port_wait_.expired()) {
        const auto second =
            std::chrono::floor<std::chrono::seconds>(clock_.wall_now()).time_since_epoch().count();
        if (second % PORT_LOG_INTERVAL_S == 0) {
            LOG.info("Waiting for AT port to be available.");
        }
        port_wait_.tick();
        return {false, PASS_PAUSE};
    }
    LOG.warning("AT port never became available after ", port_wait_.count(), " retries!");
    static_cast<void>(
        escalation_.strike(Cause::PORT_ABSENT)); // a reset now; the next wait looks at the limit
    resets_.prepare(pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE,
                    "port absent after power-on (" + std::to_string(escalation_.count(Cause::PORT_ABSENT)) +
                        " of " + std::to_string(escalation_.limit(Cause::PORT_ABSENT)) + ")");
    return {};
}
