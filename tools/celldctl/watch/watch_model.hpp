#pragma once

#include "events.hpp"
#include "modem_facts.hpp"
#include "snapshot.hpp"
#include "watch/sparkline.hpp"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace celldctl {

/// What `watch` knows: the present, the states it has seen and how long each lasted, the signal's past hour,
/// the last changes. Bounded. Time is given; main thread only.
class WatchModel {
public:
    using Time = std::chrono::system_clock::time_point;
    static constexpr std::chrono::seconds SAMPLE_INTERVAL{10}; // as often as the daemon says its status

    struct StateStretch {
        std::string state; ///< "CONNECTED"
        Time since;
        bool seen_to_begin; ///< else it may be older
    };

    /// A message. The line that is to be told of it, when it says something new.
    std::optional<Event> take(const Heard& heard, std::optional<std::int64_t> now_ns);
    /// What became of the connection.
    void take_connection(const Event& event);
    /// Lets time pass: at most one sample a call.
    void advance(Time now, std::optional<std::int64_t> now_ns);

    const ModemFacts& facts() const { return facts_; }
    const std::deque<StateStretch>& states() const { return states_; } ///< oldest first
    const std::deque<Event>& events() const { return events_; }        ///< oldest first
    const SignalHistory& signal() const { return signal_; }
    /// "healthy", "open circuit", "short to ground"; empty until one was told: that is said on change, and
    /// nobody retains it.
    std::string antenna() const;
    /// Empty while there is one.
    const std::string& connection_trouble() const { return connection_trouble_; }
    /// "SEARCHING lasted 31 s" of the stretch before the present one.
    std::string last_stretch() const;

private:
    void note_state(const Heard& heard, ModemState state);
    void note_antenna(const Fields& signals);
    void note(Event event);

    Snapshot snapshot_;
    ModemFacts facts_;
    ChangeFilter filter_;
    std::deque<StateStretch> states_;
    std::deque<Event> events_;
    SignalHistory signal_;
    std::optional<bool> antenna_open_;
    std::optional<bool> antenna_short_;
    std::optional<Time> sampled_;
    std::string connection_trouble_;
};

} // namespace celldctl
