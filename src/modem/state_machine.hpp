#pragma once

#include "modem/phase.hpp"
#include "modem/state_table.hpp"
#include "timer/clock.hpp"

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <utility>

class ModemData;

struct StateChange {
    ModemState from;
    ModemState to;
    const std::string& cause;
};

/// Holds the present state and is its only door. `state` may be asked by any thread; the rest belongs to the
/// main thread. Logs on "celld.modem.state".
class StateMachine {
public:
    StateMachine(ModemData& data, const Clock& clock) : data_(data), clock_(clock), since_(clock.now()) {}

    ModemState state() const { return state_.load(); }
    const StateTraits& traits() const { return row_of(state()).traits; }
    bool may_go_to(ModemState to) const { return is_transition_allowed(state(), to); }

    /// Before the first step. Phases outlive the last `change`.
    void attach(PhaseId id, Phase& phase) { phases_[static_cast<std::size_t>(id)] = &phase; }
    void detach_all() { phases_ = {}; }
    /// Told of every change, behind its log line; empty: nobody.
    void observer(std::function<void(const StateChange&)> observer) { observer_ = std::move(observer); }

    /// Checks, logs, tells the phase that is left, stores, tells the bus's record what is fixed about the new
    /// state, and the phase that is entered. True when the state is `to` afterwards, also when it was
    /// already. `cause` says why, for people: a few words without a secret.
    bool change(ModemState to, const std::string& cause);

    /// Tells the bus's record what is fixed about the present state.
    void tell_published();
    /// Does so, and lets the state's phase do its work.
    Pass step();

private:
    Phase* phase_of(ModemState state) const;

    ModemData& data_;
    const Clock& clock_;
    Clock::time_point since_; // of the present state
    std::atomic<ModemState> state_{ModemState::OFF};
    std::array<Phase*, PHASE_COUNT> phases_{};
    std::function<void(const StateChange&)> observer_;
};
