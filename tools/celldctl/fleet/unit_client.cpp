#include "fleet/unit_client.hpp"

#include "fleet/unit_id.hpp"

#include <utility>

namespace celldctl {

namespace {

using ecu::kova::com::ISubscriptionObserver;
using ecu::kova::com::Message;

class WithoutPrefix final : public ISubscriptionObserver {
public:
    explicit WithoutPrefix(std::weak_ptr<ISubscriptionObserver> observer) : observer_(std::move(observer)) {}

    void message(const std::string& topic, const Message& message) override
    {
        const auto observer = observer_.lock();
        const auto parts = unit_topic_of(topic);
        if (observer && parts) {
            observer->message(std::string(parts->rest), message);
        }
    }

private:
    const std::weak_ptr<ISubscriptionObserver> observer_;
};

} // namespace

UnitClient::UnitClient(Client central, const std::string& unit)
    : central_(std::move(central)), prefix_(std::string(UNITS) + unit + "/")
{
}

bool UnitClient::publish(const std::string& topic, const Message& message)
{
    return central_->publish(prefix_ + topic, message);
}

bool UnitClient::subscribe(const std::string& topic, std::weak_ptr<Observer> observer)
{
    auto without_prefix = std::make_shared<WithoutPrefix>(std::move(observer));
    const threads::MutexLock lock(mutex_);
    observers_.push_back(without_prefix);
    return central_->subscribe(prefix_ + topic, without_prefix);
}

} // namespace celldctl
