#pragma once

#include "bus/message_adapter.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <memory>
#include <string>
#include <threads/mutex.hpp>
#include <utility>
#include <vector>

/// What goes out on the bus. Nothing throws; every failure is logged once (on "celld.utils" or
/// "kova.com.messageadapter") and the value is dropped. Any thread.
namespace utils {

/// Publishes `data` as the one signal of the topic's group, named as the platform names it. True when the
/// message was handed to the client; false also without a client.
bool publish_rt_data_raw(const std::shared_ptr<ecu::kova::com::ITransportClient>& client,
                         const std::string& topic, const std::vector<unsigned char>& data);

/// Publishes the characters of `value`, without a terminating zero, as signal `signal_name`. An empty value
/// publishes/// nothing. False when there was something to publish and the client did not take it.
bool publish_rt_data_string(const std::shared_ptr<ecu::kova::com::ITransportClient>& client,
                            const std::string& topic, const std::string& signal_name, std::string value);

/// Frames `message` with protocol type 1 and publishes it; `flag` is the delivery flag (MQTT retain).
template <class T>
void publish_protobuf(std::shared_ptr<ecu::kova::com::ITransportClient>& client, T message,
                      const std::string& topic, bool flag)
{
    if (client == nullptr) {
        return;
    }
    const ecu::kova::com::PbInternalMessageAdapter<T> adapter(1);
    if (auto frame = adapter.serialize(message)) {
        frame->retained(flag);
        client->publish(topic, *frame);
    }
}

/// Frames `message` and leaves it with the broker as what to publish, retained, when this client vanishes
/// without a farewell. False where the platform library in use knows no last will, or takes none.
template <class T, class Client>
bool leave_last_will(Client& client, const T& message, const std::string& topic)
{
    if constexpr (requires(ecu::kova::com::Message will) { client.last_will(topic, will); }) {
        if (auto frame = ecu::kova::com::PbInternalMessageAdapter<T>(1).serialize(message)) {
            frame->retained(true);
            return client.last_will(topic, *frame);
        }
    }
    return false;
}

/// Hands bus messages on to their target unchanged, and to nobody once the target is gone.
class SubscriptionWrapper : public ecu::kova::com::ISubscriptionObserver {
public:
    explicit SubscriptionWrapper(ecu::kova::com::ISubscriptionObserver* target = nullptr);

    /// Waits for a message that is being delivered, so that afterwards the old target may go.
    void target(ecu::kova::com::ISubscriptionObserver* target);

    void message(const std::string& topic, const ecu::kova::com::Message& message) override;

private:
    threads::Mutex mutex_;
    ecu::kova::com::ISubscriptionObserver* target_ THREADS_GUARDED_BY(mutex_);
};

} // namespace utils
