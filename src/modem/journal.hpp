#pragma once

#include "data/modem_data.hpp"
#include "modem/state_machine.hpp"
#include "record/journal_record.hpp"
#include "record/line_writer.hpp"
#include "timer/clock.hpp"

#include <chrono>
#include <deque>
#include <optional>
#include <string>

/// Keeps the journal (docs/journal.md): connections, losses, resets, the hardware error and the module's
/// going off, over restarts and power cuts. At most one line a change of state, none while CONNECTED; short
/// hops are in the line of the episode that they belong to. A connection that flaps uses up what may be
/// written in an hour; what is more is counted. Main thread only; the disk is another's (LineWriter).
class Journal {
public:
    /// Losses and connections: this many at once, and then one a minute.
    static constexpr unsigned MAX_AT_ONCE = 60;
    static constexpr std::chrono::minutes ONE_MORE_AFTER{1};

    /// Takes up the counts of the last run.
    Journal(const ModemData& data, const Clock& clock);

    void started();
    void changed(const StateChange& change);
    /// The daemon ends; does nothing when the module has been switched off before.
    void ended(ModemState state);

    /// Waits for the disk; for tests.
    bool flush(std::chrono::milliseconds patience) { return writer_.flush(patience); }

private:
    struct Stay {
        std::string state;
        Clock::time_point since;
    };

    struct GoingOff {
        std::string cause;
        std::string from;
        std::optional<std::chrono::seconds> lasted;
    };

    void begin_connection();
    std::optional<std::chrono::seconds> end_connection();
    void record_end_of(const StateChange& change);
    bool may_write_another();
    void write(JournalRecord::Kind kind, const std::string& from, const std::string& cause,
               std::optional<std::chrono::seconds> lasted = std::nullopt);
    std::string take_road();
    std::chrono::seconds since(Clock::time_point time) const;

    const ModemData& data_;
    const Clock& clock_;
    LineWriter writer_;

    JournalRecord totals_; // what every record repeats
    Clock::time_point down_since_;
    std::optional<Clock::time_point> connected_since_;
    std::deque<Stay> road_;
    std::size_t road_cut_ = 0; // stays that were too many
    GoingOff going_off_;       // in POWER_OFF
    bool is_off_ = false;      // the last record says so

    unsigned allowance_ = MAX_AT_ONCE;
    Clock::time_point allowance_of_;
};
