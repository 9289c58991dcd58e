#pragma once

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace ecu::kova::com {

/// What waits to be sent, and what was sent but is not acknowledged yet. Of each topic it keeps the newest
/// retained message for good and offers it again after every reconnect: a broker that was killed or has no
/// persistence has forgotten it, and a late subscriber must see the present state all the same. A retained
/// message that a newer one has overtaken is not sent any more. Any thread.
class Outbox {
public:
    struct Item {
        std::uint64_t id = 0;
        std::string topic;
        Message message;
        int qos = 0;
    };

    /// True when the message will be sent. False when it is not retained and the bus is away, or when there
    /// is no room.
    bool put(const std::string& topic, const Message& message, int qos);

    void connected();
    /// What was under way and must arrive (QoS 1, retained) waits again, in the old order.
    void connection_lost();
    bool is_connected() const;

    /// The oldest message that waits, now under way; none while enough are under way or the bus is away.
    std::optional<Item> next();
    /// The message has left (QoS 1: was acknowledged).
    void left(std::uint64_t id);

    /// Whether everything has left within `timeout`.
    bool wait_until_empty(std::chrono::milliseconds timeout);

private:
    enum class Stage { WAITING, UNDER_WAY, LEFT };
    struct Entry {
        Item item;
        Stage stage = Stage::WAITING;
    };
    using Entries = std::map<std::uint64_t, Entry>;

    // All with mutex_ held.
    bool make_room_for_retained(const std::string& topic);
    bool is_newest(const Item& item) const;
    Entries::iterator wait_again_or_drop(Entries::iterator entry);
    void set_stage(Entry& entry, Stage stage);
    void erase(std::uint64_t id);

    mutable std::mutex mutex_;
    std::condition_variable emptied_;
    bool connected_ = false;                        // everything below: guarded by mutex_
    Entries entries_;                               // by id, which grows: the order of publishing
    std::map<std::string, std::uint64_t> retained_; // the newest retained message of each topic
    std::set<std::uint64_t> waiting_;
    std::set<std::uint64_t> under_way_;
    std::uint64_t last_id_ = 0;
};

} // namespace ecu::kova::com
