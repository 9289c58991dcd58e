#include "modem/state_machine.hpp"

#include "data/modem_data.hpp"

#include <ecu/kova/logging.hpp>

namespace {

using ecu::kova::logging::Level;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem.state");

/// A step of the usual road, or one that has no other way on. Whatever else happens is for the night shift.
bool is_routine(ModemState from, ModemState to)
{
    return row_of(from).usual_next == to || from == ModemState::RESET || from == ModemState::POWER_OFF ||
           from == ModemState::AT_PORT_LOST;
}

} // namespace

Phase* StateMachine::phase_of(ModemState state) const
{
    return phases_[static_cast<std::size_t>(row_of(state).phase)];
}

bool StateMachine::change(ModemState to, const std::string& cause)
{
    const ModemState from = state();
    if (to == from) {
        return true;
    }
    if (!transition_allowed(from, to)) {
        LOG.warning("State transition from '", state_text(from), "' to '", state_text(to), "' not allowed!");
        return false;
    }
    if (Phase* const phase = phase_of(from)) {
        phase->left(from, to);
    }
    LOG.notice("Change state from '", state_text(from), "' to '", state_text(to), "'");
    const auto now = clock_.now();
    LOG.write(is_routine(from, to) ? Level::INFO : Level::NOTICE, "Reason: ", cause, ", after ",
              std::chrono::floor<std::chrono::seconds>(now - since_).count(), " s");
    since_ = now;
    state_.store(to);
    if (observer_) {
        observer_({from, to, cause});
    }
    tell_published();
    if (row_of(from).traits.network && !row_of(to).traits.network) {
        for (Phase* const phase : phases_) {
            if (phase != nullptr) {
                phase->network_left();
            }
        }
    }
    if (Phase* const phase = phase_of(to)) {
        phase->entered(to, from);
    }
    return true;
}

void StateMachine::tell_published()
{
    if (const auto published = row_of(state()).published) {
        data_.pb_state(*published);
    }
}

Pass StateMachine::step()
{
    tell_published();
    const ModemState now = state();
    Phase* const phase = phase_of(now);
    return phase == nullptr ? Pass{true} : phase->step(now);
}
