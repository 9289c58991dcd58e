#pragma once

#include <ecu/kova/config/configuration.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ecu::kova::com {

/// What travels under a topic.
class Message {
public:
    using Payload = std::vector<std::uint8_t>;

    Message() = default;
    explicit Message(Payload payload, std::int64_t time_stamp_ns = 0)
        : payload_(std::move(payload)), time_stamp_ns_(time_stamp_ns)
    {
    }

    const Payload& payload() const { return payload_; }
    /// Nanoseconds since boot, as the sender took it; 0 when unknown.
    std::int64_t time_stamp_ns() const { return time_stamp_ns_; }

    /// Delivery flag, MQTT's retain flag: the bus keeps the newest such message for those who subscribe
    /// later.
    bool retained() const { return retained_; }
    void retained(bool flag) { retained_ = flag; }

private:
    Payload payload_;
    std::int64_t time_stamp_ns_ = 0;
    bool retained_ = false;
};

class ISubscriptionObserver {
public:
    virtual ~ISubscriptionObserver() = default;

    /// Called on the client's thread. What it throws is caught and logged.
    virtual void message(const std::string& topic, const Message& message) = 0;
};

/// Why there is no connection to the bus.
struct ConnectionFailure {
    bool refused = false; ///< the broker was there and said no: to the login or to the client id
    std::string reason;   ///< one line
};

/// A connection to the unit's bus. Every operation may be called from any thread and none waits for the
/// broker, save `flush`.
class ITransportClient {
public:
    virtual ~ITransportClient() = default;

    /// True when the message was handed over or, being retained, is kept until the broker is there; false
    /// when it was dropped. QoS 1 for "system/", QoS 0 for "rt/".
    virtual bool publish(const std::string& topic, const Message& message) = 0;

    /// `topic` may hold MQTT's wildcards. Kept over every reconnect. After the observer is gone nothing is
    /// delivered.
    virtual bool subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer) = 0;

    /// Waits until everything published has left (QoS 1: was acknowledged), `timeout` at most; false when it
    /// has not.
    virtual bool flush(std::chrono::milliseconds timeout) = 0;

    virtual bool is_connected() const = 0;

    /// What the broker is to publish under `topic` when this client vanishes without a farewell (MQTT's will;
    /// QoS and delivery flag as `publish` has them). At any time: the newest is taken to the broker with the
    /// next connection. A client that is connected makes a new one for it only when that costs no message: as
    /// long as it has subscribed to nothing and no message without the delivery flag waits to be sent. False
    /// for a topic or a payload (65535 bytes) that cannot be a will, and for a client that has none to offer.
    /// Optional in a platform library.
    virtual bool last_will(const std::string& /*topic*/, const Message& /*message*/) { return false; }

    /// Why the last try for a connection failed, or the last connection ended; nothing while there is one,
    /// and before the first try has failed. Optional in a platform library.
    virtual std::optional<ConnectionFailure> connection_failure() const { return std::nullopt; }
};

enum class TransportType {
    MQTT, ///< MQTT 3.1.1; keys "host", "port", "client_name", "bus.username", "bus.password", "bus.cafile",
          ///< ...
    IN_PROCESS, ///< a bus inside the process, for tests; keys ignored
};

/// Never fails for want of a broker: the client connects in the background, for ever, waiting 1 s to 30 s
/// between tries. It holds its own reference to the MQTT library.
std::shared_ptr<ITransportClient> create_client(const config::Configuration& configuration,
                                                TransportType type);

} // namespace ecu::kova::com
