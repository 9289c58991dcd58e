#pragma once

#include "fleet/fleet_model.hpp"
#include "utils/words.hpp"

#include <functional>
#include <string>
#include <vector>

namespace celldctl {

/// A unit's line in the table: points into the model.
struct FleetRow {
    const std::string& id;
    const UnitRecord& unit;
};

/// Which units are meant, by an expression such as "state=SEARCHING", "operator!=Mobile*", "signal<-100".
/// `text` unit, state (or the condition: "unreachable"), operator, reset: "=" or "!=" and a pattern of the
/// shell, case is no matter. Numbers signal (dBm), bars, starts, since and seen (seconds): "<" or ">". What
/// is not known matches no pattern but the empty one, and no number.
using FleetFilter = std::function<bool(const FleetRow&, FleetTime now)>;
/// Throws UsageError.
FleetFilter fleet_filter(const std::string& expression);

/// What the table can be sorted by.
utils::Words fleet_columns();

struct FleetChoice {
    std::vector<FleetFilter> filters; ///< all of them must hold
    std::string sort = "unit";        ///< one of fleet_columns()
    bool reverse = false;

    bool takes(const FleetRow& row, FleetTime now) const;
};

/// Sorted: the trouble first where it is by state, the longest where it is by time, the weakest where it is
/// by signal; by id where they are equal. In proportion to the units (and the logarithm of their number).
std::vector<FleetRow> fleet_rows(const FleetModel& model, const FleetChoice& choice, FleetTime now);

/// "up" shows the state; a unit in trouble its condition: "CONNECTED", "unreachable".
std::string shown_state(const UnitRecord& unit);
/// How long that has been so, for sure.
std::chrono::seconds shown_duration(const UnitRecord& unit, FleetTime now);
/// How long ago a message came; nothing before one has come that was not retained.
std::optional<std::chrono::seconds> silence(const UnitRecord& unit, FleetTime now);

/// "TITLE" and rows as text of the same columns.
std::string fleet_head();
std::string fleet_line(const FleetRow& row, FleetTime now);
/// "1000 units: 950 CONNECTED, 50 unreachable", the most first.
std::string fleet_summary(const FleetModel& model);

} // namespace celldctl
