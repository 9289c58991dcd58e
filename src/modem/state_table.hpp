#pragma once

#include "modem/modem_state.hpp"

#include <ecu/pb/modem.pb.h>

#include <array>
#include <optional>
#include <span>
#include <string_view>

/// The stretch of the module's life that a state belongs to: which object does its work and keeps its
/// counters.
enum class PhaseId { IDLE, BOOT, SET_UP, CARD, SEARCH, ATTACH, LINK, BARRED, RECOVERY };
constexpr std::size_t PHASE_COUNT = 9;

struct StateTraits {
    bool network = false;     ///< the module is set up and the network matters; values 10 to 15
    bool searching = false;   ///< its passes count towards the search limits
    bool port_owed = false;   ///< a running AT port is owed, so its absence is a fault
    bool sim_watched = false; ///< the SIM is looked after
};

/// All that is fixed about a state. The transition check, the dispatch, the predicates, docs/states.md and
/// the tests read these rows and nothing else.
struct StateRow {
    using Published = std::optional<ecu::kova::pb::ModemStatus_ModemState>;

    ModemState state;
    const char* text;
    /// Besides OFF and POWER_OFF, which every state may go to; empty: no rule, the run loop moves freely.
    std::span<const ModemState> may_go_to;
    StateTraits traits;
    Published published; ///< what the bus is told on entering, where that is fixed
    PhaseId phase;
    std::optional<ModemState> usual_next; ///< on the road from supply off to a connection
    /// For docs/states.md; a name in braces stands for a limit.
    const char* what_happens;
};

/// One row a state, in the order of the values.
const std::array<StateRow, MODEM_STATE_COUNT>& state_table();

/// The row of a state; `state` must be one.
const StateRow& row_of(ModemState state);

/// Whether `from` may go to `to`. Pure, unlogged.
bool is_transition_allowed(ModemState from, ModemState to);

/// The same, with a record on "celld.modem.state" where no row decides.
bool transition_allowed(ModemState from, ModemState to);
