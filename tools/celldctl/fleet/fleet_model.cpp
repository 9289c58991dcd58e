#include "fleet/fleet_model.hpp"

#include "fields.hpp"
#include "fleet/unit_id.hpp"
#include "freshness.hpp"

#include <algorithm>
#include <utility>

namespace celldctl {

namespace {

using ecu::kova::com::Message;

constexpr std::size_t MOST_NEWS = 20'000; // twice the units, which all may speak at once
constexpr std::size_t LONGEST_TEXT = 64;  // bytes; names of operators and modules are shorter

/// Cut between two characters of UTF-8.
std::optional<std::string> clipped(std::optional<std::string> text)
{
    if (text && text->size() > LONGEST_TEXT) {
        auto end = LONGEST_TEXT;
        while (end > 0 && (static_cast<unsigned char>((*text)[end]) & 0xc0U) == 0x80U) {
            --end;
        }
        text->resize(end);
    }
    return text;
}

bool is_of_a_unit(std::string_view rest)
{
    return std::find(FLEET_TOPICS.begin(), FLEET_TOPICS.end(), rest) != FLEET_TOPICS.end();
}

std::string lasted(const UnitRecord& unit, FleetTime now)
{
    using std::chrono::seconds;
    const auto duration = std::max(seconds(0), std::chrono::floor<seconds>(now - unit.since));
    return "  (" + *state_word(unit) + " lasted " + (unit.seen_to_begin ? "" : "at least ") +
           duration_text(duration) + ")";
}

const char* text_of(Condition condition)
{
    switch (condition) {
    case Condition::UP:
        return "is heard again";
    case Condition::SILENT:
        return "is silent: nothing has come for five minutes";
    case Condition::DAEMON_GONE:
        return "its daemon is gone";
    case Condition::UNREACHABLE:
        return "is unreachable: its bridge is down";
    }
    return "";
}

} // namespace

void FleetModel::take(std::string_view topic, const Message& message, FleetTime now)
{
    const auto parts = unit_topic_of(topic);
    if (!parts || !is_of_a_unit(parts->rest)) {
        return;
    }
    if (parts->rest == STATUS_TOPIC && message.payload().empty()) {
        remove(parts->id, now);
        return;
    }
    auto* const unit = unit_of(parts->id);
    if (unit == nullptr) {
        return;
    }
    auto& record = unit->second;
    if (parts->rest == BRIDGE_TOPIC) {
        record.bridge_up = bridge_is_up(message);
    } else {
        ++record.messages;
        record.last_seen = message.retained() ? record.last_seen : now;
        if (parts->rest == STATUS_TOPIC) {
            take_status(*unit, message, now);
        } else {
            take_rest(*unit, parts->rest, message, now);
        }
    }
    judge(*unit, now);
}

void FleetModel::connection(bool connected, FleetTime now)
{
    connected_ = connected;
    listening_since_ = now;
}

void FleetModel::advance(FleetTime now)
{
    for (auto& unit : units_) {
        judge(unit, now);
    }
}

std::vector<FleetNews> FleetModel::take_news()
{
    return std::exchange(news_, {});
}

/// Nothing for one that is left out.
FleetModel::Entry* FleetModel::unit_of(std::string_view id)
{
    const auto known = units_.find(id);
    if (known != units_.end()) {
        return &*known;
    }
    if (fault_of_unit_id(id)) {
        ++left_.ids;
        return nullptr;
    }
    if (units_.size() >= MOST_UNITS) {
        ++left_.units;
        return nullptr;
    }
    return &*units_.emplace(std::string(id), UnitRecord()).first;
}

void FleetModel::take_status(Entry& unit, const Message& message, FleetTime now)
{
    auto& record = unit.second;
    Snapshot snapshot;
    snapshot.take(STATUS_TOPIC, message);
    if (snapshot.status.presence != Presence::PRESENT) {
        ++record.malformed;
        if (!std::exchange(record.unreadable, true)) {
            tell(unit, "unreadable", "its status does not decode", now);
        }
        return;
    }
    record.unreadable = false;
    auto facts = facts_of(snapshot, std::nullopt);
    record.daemon_gone = facts.daemon_gone;
    if (facts.daemon_gone) {
        return; // it says nothing else
    }
    if (!message.retained() && snapshot.status.stamp_ns) {
        record.senders.note_stamp(*snapshot.status.stamp_ns, now);
    }
    if (facts.reset_reason) {
        take_reset(unit, *facts.reset_reason, now);
    }
    if (snapshot.status.value.has_state()) {
        take_state(unit, facts, snapshot.status.value.state(), now);
    }
    record.operator_name = clipped(std::move(facts.operator_name));
    record.operator_id = clipped(std::move(facts.operator_id));
    record.technology = facts.technology ? facts.technology : record.technology;
    record.rssi_dbm = facts.rssi_dbm;
    record.bars = facts.bars;
}

void FleetModel::take_state(Entry& unit, const ModemFacts& facts, ModemState state, FleetTime now)
{
    auto& record = unit.second;
    if (record.state == state) {
        return;
    }
    const bool is_first = !record.state;
    auto text = *facts.state + (is_first ? std::string() : lasted(record, now));
    record.state = state;
    record.since = now;
    record.seen_to_begin = !is_first;
    if (!is_first && state == ecu::kova::pb::ModemStatus::ENABLING) {
        ++record.starts;
    }
    tell(unit, "state", std::move(text), now);
}

void FleetModel::take_reset(Entry& unit, const std::string& reason, FleetTime now)
{
    auto& record = unit.second;
    const bool is_news = record.reset_reason && record.reset_reason != reason;
    record.reset_reason = reason;
    if (is_news) {
        tell(unit, "reset", "reset: " + reason, now);
    }
}

void FleetModel::take_rest(Entry& unit, std::string_view topic, const Message& message, FleetTime now)
{
    auto& record = unit.second;
    Snapshot snapshot;
    snapshot.take(std::string(topic), message);
    if (!snapshot.names(Presence::UNREADABLE).empty()) {
        ++record.malformed;
        return;
    }
    auto facts = facts_of(snapshot, std::nullopt);
    if (snapshot.registration.presence == Presence::PRESENT) {
        record.technology = facts.technology;
    } else if (snapshot.hardware.presence == Presence::PRESENT) {
        record.model = clipped(std::move(facts.model));
        record.senders.note_imei(clipped(std::move(facts.imei)).value_or(""), now);
    }
}

void FleetModel::judge(Entry& unit, FleetTime now)
{
    auto& record = unit.second;
    const auto heard = std::max(record.last_seen.value_or(listening_since_), listening_since_);
    const bool silent = connected_ ? now - heard > LONGEST_SILENCE : record.condition == Condition::SILENT;
    const auto before = record.condition;
    record.condition = record.bridge_up == false ? Condition::UNREACHABLE
                       : record.daemon_gone      ? Condition::DAEMON_GONE
                       : silent                  ? Condition::SILENT
                                                 : Condition::UP;
    if (record.condition != before) {
        record.condition_since = now;
        tell(unit, "condition", text_of(record.condition), now);
    }
    judge_senders(unit, now);
}

void FleetModel::judge_senders(Entry& unit, FleetTime now)
{
    auto& record = unit.second;
    const bool before = std::exchange(record.two_senders, record.senders.sees_two(now));
    if (record.two_senders && !before) {
        tell(unit, "senders", "two hosts seem to have this id, or one boots again and again", now);
    } else if (!record.two_senders && before) {
        tell(unit, "senders", "one host has this id now", now);
    }
}

void FleetModel::remove(std::string_view id, FleetTime now)
{
    const auto known = units_.find(id);
    if (known != units_.end()) {
        tell(*known, "removed", "its status was taken off the broker", now);
        units_.erase(known);
    }
}

void FleetModel::tell(const Entry& unit, const char* kind, std::string text, FleetTime now)
{
    if (news_.size() >= MOST_NEWS) {
        ++left_.news;
        return;
    }
    news_.push_back({now, unit.first, kind, std::move(text), unit.second});
}

} // namespace celldctl
