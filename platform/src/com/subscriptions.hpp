#pragma once

#include <ecu/kova/com/transport_client.hpp>

#include <memory>
#include <string>
#include <threads/mutex.hpp>
#include <vector>

namespace ecu::kova::com {

/// Whether `filter` ('+' and '#' as in MQTT 3.1.1, 4.7) takes `topic`.
bool topic_matches(const std::string& filter, const std::string& topic);
/// Whether the filter, or the topic to publish under, is well-formed.
bool is_filter(const std::string& filter);
bool is_topic(const std::string& topic);
/// Whether the broker could take this as a will.
bool is_will(const std::string& topic, const Message& message);
/// QoS 1 for "system/", 0 for the rest.
int publication_qos(const std::string& topic);

/// Who wants which topics. Any thread; observers are called without a lock, so they may publish and
/// subscribe.
class Subscriptions {
public:
    void add(const std::string& filter, std::weak_ptr<ISubscriptionObserver> observer);
    /// Each filter once, in the order they were first added; those whose observers are all gone are left out.
    std::vector<std::string> filters();
    bool matches(const std::string& topic);
    /// Calls every living observer whose filter takes the topic; logs what one throws.
    void deliver(const std::string& topic, const Message& message);

private:
    struct Subscription {
        std::string filter;
        std::weak_ptr<ISubscriptionObserver> observer;
    };

    void drop_dead() THREADS_REQUIRES(mutex_);

    threads::Mutex mutex_;
    std::vector<Subscription> subscriptions_ THREADS_GUARDED_BY(mutex_);
};

} // namespace ecu::kova::com
