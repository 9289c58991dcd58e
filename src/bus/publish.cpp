#include "bus/publish.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/rt/signal_adapter.hpp>

namespace utils {
namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.utils");

using ecu::kova::com::ITransportClient;
using ecu::kova::rt::SignalAdapter;
using ecu::kova::rt::SignalGroup;

bool publish_signal(ITransportClient& client, SignalGroup group, const std::string& signal_name,
                    std::vector<unsigned char> data)
{
    const auto set = group.set_signal_data(signal_name, std::move(data));
    if (!set) {
        LOG.error("Unable to set signal data ('", set.error(), "') for topic '", group.topic(),
                  "', signal name: '", signal_name, "'");
        return false;
    }
    const auto packed = SignalAdapter::instance().pack(group);
    if (!packed) {
        LOG.error("Failed to pack signal group");
        return false;
    }
    if (!client.publish(group.topic(), packed.value())) {
        LOG.info("The bus did not take ", group.topic());
        return false;
    }
    return true;
}

} // namespace

bool publish_rt_data_raw(const std::shared_ptr<ITransportClient>& client, const std::string& topic,
                         const std::vector<unsigned char>& data)
{
    if (client == nullptr) {
        return false;
    }
    SignalGroup group = SignalAdapter::instance().create_sg(topic);
    const std::string name = group.default_signal_name();
    return publish_signal(*client, std::move(group), name, data);
}

bool publish_rt_data_string(const std::shared_ptr<ITransportClient>& client, const std::string& topic,
                            const std::string& signal_name, std::string value)
{
    if (value.empty()) {
        return true;
    }
    return client != nullptr &&
           publish_signal(*client, SignalAdapter::instance().create_sg(topic), signal_name,
                          std::vector<unsigned char>(value.begin(), value.end()));
}

SubscriptionWrapper::SubscriptionWrapper(ecu::kova::com::ISubscriptionObserver* target) : target_(target) {}

void SubscriptionWrapper::target(ecu::kova::com::ISubscriptionObserver* target)
{
    const threads::MutexLock lock(mutex_);
    target_ = target;
}

void SubscriptionWrapper::message(const std::string& topic, const ecu::kova::com::Message& message)
{
    const threads::MutexLock lock(mutex_);
    if (target_ != nullptr) {
        target_->message(topic, message);
    }
}

} // namespace utils
