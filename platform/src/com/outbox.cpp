#include "outbox.hpp"

#include <algorithm>

namespace ecu::kova::com {

namespace {

// The unit's topics are a few dozen; the limits keep a program gone wild, or a broker that takes messages and
// never acknowledges them, from filling the memory.
constexpr std::size_t MOST_RETAINED_TOPICS = 1024;
constexpr std::size_t MOST_UNSENT = 1024;
constexpr std::size_t MOST_UNDER_WAY = 20;               // the client library's own limit for QoS 1
constexpr std::size_t LARGEST_PAYLOAD = 1024UL * 1024UL; // bytes

} // namespace

bool Outbox::put(const std::string& topic, const Message& message, int qos)
{
    const threads::MutexLock lock(mutex_);
    if (message.payload().size() > LARGEST_PAYLOAD) {
        return false;
    }
    if (message.retained() ? !make_room_for_retained(topic) : !connected_ || waiting_.size() >= MOST_UNSENT) {
        return false;
    }
    const auto id = ++last_id_;
    entries_[id] = Entry{{id, topic, message, qos}, Stage::WAITING};
    waiting_.insert(id);
    if (message.retained()) {
        retained_[topic] = id;
    }
    return true;
}

void Outbox::connected()
{
    const threads::MutexLock lock(mutex_);
    connected_ = true;
    for (auto& [id, entry] : entries_) {
        if (entry.stage == Stage::LEFT) {
            set_stage(entry, Stage::WAITING);
        }
    }
}

void Outbox::connection_lost()
{
    const threads::MutexLock lock(mutex_);
    connected_ = false;
    repeat_what_was_under_way();
    for (auto id = waiting_.begin(); id != waiting_.end();) {
        const auto waiting = *id++;
        const auto& item = entries_.at(waiting).item;
        if (item.message.retained() ? !is_newest(item) : item.qos == 0) {
            erase(waiting);
        }
    }
    if (is_empty()) {
        emptied_.notify_all();
    }
}

void Outbox::reconnecting()
{
    const threads::MutexLock lock(mutex_);
    repeat_what_was_under_way();
}

bool Outbox::outlives_a_reconnect() const
{
    const threads::MutexLock lock(mutex_);
    return std::all_of(entries_.begin(), entries_.end(), [](const auto& entry) {
        return entry.second.stage == Stage::LEFT || survives(entry.second.item);
    });
}

bool Outbox::is_connected() const
{
    const threads::MutexLock lock(mutex_);
    return connected_;
}

std::optional<Outbox::Item> Outbox::next()
{
    const threads::MutexLock lock(mutex_);
    if (!connected_ || waiting_.empty() || under_way_.size() >= MOST_UNDER_WAY) {
        return std::nullopt;
    }
    auto& entry = entries_.at(*waiting_.begin());
    set_stage(entry, Stage::UNDER_WAY);
    return entry.item;
}

void Outbox::left(std::uint64_t id)
{
    const threads::MutexLock lock(mutex_);
    const auto found = entries_.find(id);
    if (found == entries_.end()) {
        return;
    }
    if (is_newest(found->second.item)) {
        set_stage(found->second, Stage::LEFT);
    } else {
        erase(id);
    }
    if (is_empty()) {
        emptied_.notify_all();
    }
}

bool Outbox::wait_until_empty(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    threads::MutexLock lock(mutex_);
    while (!is_empty()) {
        if (!lock.wait_until(emptied_, deadline)) {
            return is_empty();
        }
    }
    return true;
}

bool Outbox::make_room_for_retained(const std::string& topic)
{
    const auto newest = retained_.find(topic);
    if (newest == retained_.end()) {
        return retained_.size() < MOST_RETAINED_TOPICS;
    }
    const auto overtaken = entries_.find(newest->second);
    if (overtaken == entries_.end() || overtaken->second.stage == Stage::UNDER_WAY) {
        return true;
    }
    // Who listens wants to see each state that there was, while there is somebody to hand it to.
    const bool goes_out_first =
        overtaken->second.stage == Stage::WAITING && connected_ && waiting_.size() < MOST_UNSENT;
    if (!goes_out_first) {
        erase(overtaken->first);
    }
    return true;
}

bool Outbox::is_newest(const Item& item) const
{
    const auto newest = retained_.find(item.topic);
    return item.message.retained() && newest != retained_.end() && newest->second == item.id;
}

/// What must arrive waits again, in the old order; what a newer one has overtaken, or may be lost, is gone.
void Outbox::repeat_what_was_under_way()
{
    for (auto id = under_way_.begin(); id != under_way_.end();) {
        auto& entry = entries_.at(*id++);
        const auto& item = entry.item;
        if (item.message.retained() ? is_newest(item) : item.qos > 0) {
            set_stage(entry, Stage::WAITING);
        } else {
            erase(item.id);
        }
    }
}

void Outbox::set_stage(Entry& entry, Stage stage)
{
    waiting_.erase(entry.item.id);
    under_way_.erase(entry.item.id);
    if (stage == Stage::WAITING) {
        waiting_.insert(entry.item.id);
    } else if (stage == Stage::UNDER_WAY) {
        under_way_.insert(entry.item.id);
    }
    entry.stage = stage;
}

void Outbox::erase(std::uint64_t id)
{
    waiting_.erase(id);
    under_way_.erase(id);
    entries_.erase(id);
}

} // namespace ecu::kova::com
