#pragma once

#include "describe.hpp"
#include "feed.hpp"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace celldctl {

/// A line of `monitor`: a message, decoded, or what became of the connection.
struct Event {
    std::chrono::system_clock::time_point when;
    std::string topic; ///< empty: of the connection
    Description what;
    bool retained = false;
    std::optional<std::chrono::seconds> age; ///< of what is retained, where it is known
};

/// `now_ns`: the sender's time since boot, where it is known.
Event event_of(const Heard& heard, std::optional<std::int64_t> now_ns);
/// "lost: ...", "there again".
Event connection_event(std::string text, bool connected);
bool is_of_connection(const Event& event);

/// One line with its line feed; the date in front where `date` says so.
std::string event_text(const Event& event, bool date);
/// One object, ASCII, with a line feed (docs/celldctl-monitor.md).
std::string event_json(const Event& event);

/// Leaves out what was said before under the same topic. The time of the network is no change: it is a clock.
class ChangeFilter {
public:
    /// The event with what is new in it; nothing when nothing is.
    std::optional<Event> pass(Event event);

private:
    std::map<std::string, Description> last_; // of MOST_TOPICS topics
};

} // namespace celldctl
