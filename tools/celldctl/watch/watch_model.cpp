#include "watch/watch_model.hpp"

#include "freshness.hpp"

#include <utility>

namespace celldctl {

namespace {

constexpr std::size_t MOST_STATES = 100;
constexpr std::size_t MOST_EVENTS = 200; // more lines than a terminal has
constexpr std::size_t MOST_SAMPLES = 360;

template <class Container>
void keep_newest(Container& container, std::size_t most)
{
    while (container.size() > most) {
        container.pop_front();
    }
}

} // namespace

std::optional<Event> WatchModel::take(const Heard& heard, std::optional<std::int64_t> now_ns)
{
    snapshot_.take(heard.topic, heard.message);
    facts_ = facts_of(snapshot_, now_ns);
    auto event = event_of(heard, now_ns);
    if (event.what.state) {
        note_state(heard, *event.what.state);
    }
    note_antenna(event.what.fields);
    auto news = filter_.pass(std::move(event));
    if (news) {
        note(*news);
    }
    return news;
}

void WatchModel::take_connection(const Event& event)
{
    const auto& connected = event.what.fields.all().front().value;
    connection_trouble_ = std::get<std::int64_t>(connected) != 0 ? std::string() : event.what.note;
    note(event);
}

void WatchModel::advance(Time now, std::optional<std::int64_t> now_ns)
{
    facts_ = facts_of(snapshot_, now_ns);
    if (sampled_ && now >= *sampled_ && now - *sampled_ < SAMPLE_INTERVAL) {
        return;
    }
    const bool known = connection_trouble_.empty() && !facts_.daemon_gone && !facts_.stale;
    if (!sampled_ && !facts_.rssi_dbm) {
        return; // the line begins with the first that is known
    }
    sampled_ = now;
    signal_.push_back(known ? facts_.rssi_dbm : std::nullopt);
    keep_newest(signal_, MOST_SAMPLES);
}

std::string WatchModel::antenna() const
{
    if (antenna_short_.value_or(false)) {
        return "short to ground";
    }
    if (antenna_open_.value_or(false)) {
        return "open circuit";
    }
    return antenna_open_ || antenna_short_ ? "healthy" : "";
}

std::string WatchModel::last_stretch() const
{
    if (states_.size() < 2) {
        return {};
    }
    const auto& before = states_[states_.size() - 2];
    const auto lasted = std::chrono::floor<std::chrono::seconds>(states_.back().since - before.since);
    return before.state + " lasted " + duration_text(lasted);
}

void WatchModel::note_state(const Heard& heard, ModemState state)
{
    const std::string name = ecu::kova::pb::ModemStatus::ModemState_Name(state);
    if (states_.empty() || states_.back().state != name) {
        states_.push_back({name, heard.when, !states_.empty()});
        keep_newest(states_, MOST_STATES);
    }
}

void WatchModel::note_antenna(const Fields& signals)
{
    for (const auto& field : signals.all()) {
        const auto* const value = std::get_if<std::int64_t>(&field.value);
        if (value != nullptr && field.name == "status_cellular_antenna_open_circuit") {
            antenna_open_ = *value != 0;
        } else if (value != nullptr && field.name == "status_cellular_antenna_short_to_ground") {
            antenna_short_ = *value != 0;
        }
    }
}

void WatchModel::note(Event event)
{
    events_.push_back(std::move(event));
    keep_newest(events_, MOST_EVENTS);
}

} // namespace celldctl
