#pragma once

#include "record/journal_file.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace celldctl {

/// What the journal says, put in order for people: wall times of a unit whose clock was wrong are put right,
/// and each line knows how long it took until the next connection. Pure.
struct History {
    struct Row {
        JournalRecord record;
        std::chrono::system_clock::time_point time; ///< as far as it can be told
        bool time_known = true;                     ///< false: of a clock that was never set in that boot
        std::optional<std::chrono::seconds> until_connected; ///< not for a connection
        std::vector<std::size_t> chain;                      ///< of a fault: the rows of the resets behind it
    };
    struct Counts {
        std::uint64_t resets = 0;
        std::uint64_t connections = 0;
        std::chrono::seconds connected{0}; ///< of the connections whose end was seen
        /// Of the newest connection: its end, or its begin while no end is known.
        std::optional<std::chrono::system_clock::time_point> last_connected;
        bool last_is_begin = false;
    };

    std::vector<Row> rows; ///< oldest first
    Counts counts;
    std::size_t damaged = 0;
};

History history_of(const journal::Contents& contents);

/// "resets 12, connections 40, ...": one line, with its line end.
std::string counts_text(const History::Counts& counts);
/// The newest `last` rows as a table with its counts above.
std::string history_text(const History& history, std::size_t last);
/// The same as docs/celldctl-history.md describes it, with a line feed at the end.
std::string history_json(const History& history, std::size_t last);

} // namespace celldctl
