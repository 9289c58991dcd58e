#include "subscriptions.hpp"

#include <ecu/kova/logging.hpp>
#include <mosquitto.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <utility>

namespace ecu::kova::com {

namespace {

constexpr std::size_t LARGEST_WILL = 65535; // bytes; MQTT 3.1.1, 3.1.3.3: two bytes of length

} // namespace

bool topic_matches(const std::string& filter, const std::string& topic)
{
    bool matches = false;
    return mosquitto_topic_matches_sub(filter.c_str(), topic.c_str(), &matches) == MOSQ_ERR_SUCCESS &&
           matches;
}

bool is_filter(const std::string& filter)
{
    return filter.find('\0') == std::string::npos &&
           mosquitto_sub_topic_check(filter.c_str()) == MOSQ_ERR_SUCCESS;
}

bool is_topic(const std::string& topic)
{
    return !topic.empty() && topic.find('\0') == std::string::npos &&
           mosquitto_pub_topic_check(topic.c_str()) == MOSQ_ERR_SUCCESS;
}

bool is_will(const std::string& topic, const Message& message)
{
    return is_topic(topic) && message.payload().size() <= LARGEST_WILL;
}

int publication_qos(const std::string& topic)
{
    return topic.starts_with("system/") ? 1 : 0;
}

void Subscriptions::add(const std::string& filter, std::weak_ptr<ISubscriptionObserver> observer)
{
    const threads::MutexLock lock(mutex_);
    drop_dead();
    subscriptions_.push_back({filter, std::move(observer)});
}

std::vector<std::string> Subscriptions::filters()
{
    const threads::MutexLock lock(mutex_);
    drop_dead();
    std::vector<std::string> filters;
    for (const auto& subscription : subscriptions_) {
        if (std::find(filters.begin(), filters.end(), subscription.filter) == filters.end()) {
            filters.push_back(subscription.filter);
        }
    }
    return filters;
}

bool Subscriptions::matches(const std::string& topic)
{
    const threads::MutexLock lock(mutex_);
    return std::any_of(subscriptions_.begin(), subscriptions_.end(), [&](const Subscription& subscription) {
        return topic_matches(subscription.filter, topic);
    });
}

void Subscriptions::deliver(const std::string& topic, const Message& message)
{
    std::vector<std::shared_ptr<ISubscriptionObserver>> observers;
    {
        const threads::MutexLock lock(mutex_);
        for (const auto& subscription : subscriptions_) {
            if (topic_matches(subscription.filter, topic)) {
                observers.push_back(subscription.observer.lock());
            }
        }
    }
    for (const auto& observer : observers) {
        if (!observer) {
            continue;
        }
        try {
            observer->message(topic, message);
        } catch (const std::exception& error) {
            logging::module("kova.com").error("A message on ", topic, " was not handled: ", error.what());
        } catch (...) {
            logging::module("kova.com").error("A message on ", topic, " was not handled");
        }
    }
}

void Subscriptions::drop_dead()
{
    std::erase_if(subscriptions_,
                  [](const Subscription& subscription) { return subscription.observer.expired(); });
}

} // namespace ecu::kova::com
