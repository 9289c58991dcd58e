#include "outbox.hpp"

#include <iterator>

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
    const std::lock_guard lock(mutex_);
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
    const std::lock_guard lock(mutex_);
    connected_ = true;
    for (auto& [id, entry] : entries_) {
        if (entry.stage == Stage::LEFT) {
            set_stage(entry, Stage::WAITING);
        }
    }
}

void Outbox::connection_lost()
{
    const std::lock_guard lock(mutex_);
    connected_ = false;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        entry = entry->second.stage == Stage::LEFT ? std::next(entry) : wait_again_or_drop(entry);
    }
}

bool Outbox::is_connected() const
{
    const std::lock_guard lock(mutex_);
    return connected_;
}

std::optional<Outbox::Item> Outbox::next()
{
    const std::lock_guard lock(mutex_);
    if (!connected_ || waiting_.empty() || under_way_.size() >= MOST_UNDER_WAY) {
        return std::nullopt;
    }
    auto& entry = entries_.at(*waiting_.begin());
    set_stage(entry, Stage::UNDER_WAY);
    return entry.item;
}

void Outbox::left(std::uint64_t id)
{
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(id);
    if (found == entries_.end()) {
        return;
    }
    if (is_newest(found->second.item)) {
        set_stage(found->second, Stage::LEFT);
    } else {
        erase(id);
    }
    if (waiting_.empty() && under_way_.empty()) {
        emptied_.notify_all();
    }
}

bool Outbox::wait_until_empty(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    return emptied_.wait_for(lock, timeout, [this] { return waiting_.empty() && under_way_.empty(); });
}

bool Outbox::make_room_for_retained(const std::string& topic)
{
    const auto newest = retained_.find(topic);
    if (newest == retained_.end()) {
        return retained_.size() < MOST_RETAINED_TOPICS;
    }
    const auto overtaken = entries_.find(newest->second);
    if (overtaken != entries_.end() && overtaken->second.stage != Stage::UNDER_WAY) {
        erase(overtaken->first);
    }
    return true;
}

bool Outbox::is_newest(const Item& item) const
{
    const auto newest = retained_.find(item.topic);
    return item.message.retained() && newest != retained_.end() && newest->second == item.id;
}

Outbox::Entries::iterator Outbox::wait_again_or_drop(Entries::iterator entry)
{
    const auto& item = entry->second.item;
    const bool must_arrive = item.message.retained() ? is_newest(item) : item.qos > 0;
    const auto following = std::next(entry);
    if (must_arrive) {
        set_stage(entry->second, Stage::WAITING);
    } else {
        erase(item.id);
    }
    return following;
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
