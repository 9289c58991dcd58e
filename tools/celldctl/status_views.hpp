#pragma once

#include "history_model.hpp"
#include "modem_facts.hpp"

#include <string>

namespace celldctl {

/// What the unit's journal has counted, or why nobody can say.
struct JournalCounts {
    std::optional<History::Counts> counts;
    std::string absent; ///< empty where there are counts
};

/// One screen for a person: groups of "label: value", "--" for what is not known, and which messages are not
/// on the bus. No control character but line feeds comes through.
std::string status_text(const ModemFacts& facts, const Snapshot& snapshot);
/// The line below it; none where the unit is elsewhere or new.
std::string journal_text(const JournalCounts& journal);

/// The same for a program, as docs/celldctl-status.md describes it: ASCII, with a line feed at the end.
std::string status_json(const ModemFacts& facts, const Snapshot& snapshot, const JournalCounts& journal);

} // namespace celldctl
