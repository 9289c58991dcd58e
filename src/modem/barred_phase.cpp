#include "modem/barred_phase.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

BarredPhase::BarredPhase(StateMachine& machine, Backoff& backoff, const std::shared_ptr<AtTtyPort>& port,
                         const std::shared_ptr<ModemVariant>& variant, const Clock& clock)
    : machine_(machine), backoff_(backoff), port_(port), variant_(variant), clock_(clock)
{
}

void BarredPhase::entered(ModemState, ModemState)
{
    schedule_ = {};
}

void BarredPhase::left(ModemState, ModemState)
{
    backoff_.forget();
}

Pass BarredPhase::step(ModemState)
{
    const auto report = variant_->check_backoff_timer(port_, QUERY_INTERVAL_S, schedule_);
    if (report.failed) {
        LOG.notice("Unable to query +UNFM");
    }
    if (report.queried) {
        backoff_.answered(std::chrono::seconds(report.remaining_s), clock_.now());
    }
    // What the module said last counts where it cannot be asked.
    if (backoff_.is_over(clock_.now())) {
        LOG.notice("Back-off timer expired, changing state");
        machine_.change(ModemState::REGISTERING, "back-off over");
    }
    return {false, PASS_PAUSE};
}
