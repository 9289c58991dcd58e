#pragma once

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <threads/mutex.hpp>

namespace ecu::kova::com {

/// What waits to be sent, and what was sent but is not acknowledged yet. Of each topic it keeps the newest
/// retained message for good and offers it again after every reconnect: a broker that was killed or has no
/// persistence has forgotten it, and a late subscriber must see the present state all the same. What newer
/// retained messages have overtaken is sent before them while the bus is there, and not any more once it was
/// away. Any thread.
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

    /// Whether a new connection in place of this one would lose nothing: no message waits or is under way
    /// that only a connection holds.
    bool outlives_a_reconnect() const;
    /// The connection is about to be replaced at once: as `connection_lost`, but what was accepted is not
    /// dropped, and more is accepted meanwhile. Ends with `connected` or `connection_lost`.
    void reconnecting();

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

    bool make_room_for_retained(const std::string& topic) THREADS_REQUIRES(mutex_);
    bool is_newest(const Item& item) const THREADS_REQUIRES(mutex_);
    bool is_empty() const THREADS_REQUIRES(mutex_) { return waiting_.empty() && under_way_.empty(); }
    static bool survives(const Item& item) { return item.message.retained() || item.qos > 0; }
    void repeat_what_was_under_way() THREADS_REQUIRES(mutex_);
    void set_stage(Entry& entry, Stage stage) THREADS_REQUIRES(mutex_);
    void erase(std::uint64_t id) THREADS_REQUIRES(mutex_);

    mutable threads::Mutex mutex_;
    std::condition_variable emptied_;
    bool connected_ THREADS_GUARDED_BY(mutex_) = false;
    Entries entries_ THREADS_GUARDED_BY(mutex_); // by id, which grows: the order of publishing
    std::map<std::string, std::uint64_t>
        retained_ THREADS_GUARDED_BY(mutex_); // the newest retained message of each topic
    std::set<std::uint64_t> waiting_ THREADS_GUARDED_BY(mutex_);
    std::set<std::uint64_t> under_way_ THREADS_GUARDED_BY(mutex_);
    std::uint64_t last_id_ THREADS_GUARDED_BY(mutex_) = 0;
};

} // namespace ecu::kova::com
