#include "events.hpp"

#include "freshness.hpp"
#include "timer/wall_clock.hpp"

#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

namespace celldctl {

namespace {

constexpr std::size_t TOPIC_WIDTH = 30;  // the usual topics in a column; the longest antenna topics stand out
constexpr std::size_t MOST_TOPICS = 256; // the unit has twenty; the rest of a flood is always shown
constexpr auto CLOCK_FIELD = "network_time";

std::string remark(const Event& event)
{
    if (!event.retained) {
        return {};
    }
    return event.age ? "  (retained, " + duration_text(*event.age) + " old)" : "  (retained)";
}

} // namespace

Event event_of(const Heard& heard, std::optional<std::int64_t> now_ns)
{
    const bool retained = heard.message.retained();
    return {heard.when, heard.topic, describe(heard.topic, heard.message), retained,
            retained ? age(time_stamp_of(heard.message), now_ns) : std::nullopt};
}

Event connection_event(std::string text, bool connected)
{
    Event event;
    event.when = timer::wall_now();
    event.what.fields.add_number("connected", connected ? 1 : 0);
    event.what.note = text;
    event.what.text = std::move(text);
    return event;
}

bool is_of_connection(const Event& event)
{
    return event.topic.empty();
}

std::string event_text(const Event& event, bool date)
{
    auto topic = is_of_connection(event) ? "(connection)" : printable(event.topic);
    topic.resize(std::max(topic.size(), TOPIC_WIDTH), ' ');
    return time_text(event.when, date) + "  " + topic + ' ' + event.what.text + remark(event) + '\n';
}

std::optional<Event> ChangeFilter::pass(Event event)
{
    if (is_of_connection(event)) {
        return event;
    }
    const auto known = last_.find(event.topic);
    if (known == last_.end()) {
        if (last_.size() < MOST_TOPICS) {
            last_.emplace(event.topic, event.what);
        }
        return event;
    }
    auto before = std::exchange(known->second, event.what);
    if (!event.what.note.empty() || !before.note.empty()) {
        return event.what.text == before.text ? std::nullopt : std::optional(std::move(event));
    }
    auto changed = event.what.fields.changed_since(before.fields);
    changed.drop(CLOCK_FIELD);
    if (changed.empty()) {
        return std::nullopt;
    }
    event.what.text = changed.line();
    event.what.fields = std::move(changed);
    return event;
}

} // namespace celldctl
