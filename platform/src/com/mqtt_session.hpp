#pragma once

#include "outbox.hpp"

#include <ecu/kova/com/transport_client.hpp>
#include <mosquittopp.h>

#include <cstdint>
#include <list>
#include <optional>
#include <string>

namespace ecu::kova::com {

struct MqttSettings {
    std::string host;
    int port = 0;
    std::string client_id; ///< empty: one is made up for each session
    std::string username;
    std::string password;
    std::string ca_file; ///< TLS when not empty; these three are real paths
    std::string certificate_file;
    std::string key_file;

    static MqttSettings from(const config::Configuration& configuration);
};

/// What the broker publishes for a client that vanishes.
struct Will {
    std::string topic;
    Message message;
};

/// Whether the library makes a client of that name.
bool is_client_id(const std::string& text);

/// What a session tells its owner, from within `serve`.
class IMqttSessionOwner {
public:
    virtual ~IMqttSessionOwner() = default;
    virtual void received(const std::string& topic, const Message& message) = 0;
    virtual void left(std::uint64_t item_id) = 0;
};

/// One connection to the broker, from its first byte to its last; the next attempt gets a new object, so that
/// nothing the library still holds (an overtaken message it would repeat) crosses over. One thread only.
class MqttSession final : private mosqpp::mosquittopp {
public:
    /// The client id must be one (see there).
    MqttSession(const MqttSettings& settings, std::optional<Will> will, IMqttSessionOwner& owner);

    /// Starts to connect; never waits for the broker, only for the name service. False: see `failure`.
    bool open();
    /// Waits up to `timeout_ms` for the broker or for `wake_descriptor` to become readable, and does what
    /// there is to do. False when the session is over: see `failure`.
    bool serve(int wake_descriptor, int timeout_ms);
    void close();

    bool is_connected() const { return connected_; }
    /// Whether the broker has ever accepted it.
    bool was_connected() const { return connected_; }
    /// Whether a subscription has gone out: from then on a new session could miss a message.
    bool has_subscribed() const { return subscribed_; }
    /// Whether it was the broker that ended a connection which it had accepted.
    bool was_hung_up_on() const { return connected_ && hung_up_on_; }
    /// Whether the broker answered, and that it will not have this client: its id or its login.
    bool was_refused() const { return refused_; }
    /// Why the session is over.
    const std::string& failure() const { return failure_; }

    bool subscribe_to(const std::string& filter);
    bool send(const Outbox::Item& item);

private:
    struct Sent {
        int message_id = 0;
        std::uint64_t item_id = 0;
    };

    void on_connect(int code) override;
    void on_message(const mosquitto_message* message) override;
    void on_publish(int message_id) override;
    void on_subscribe(int message_id, int count, const int* granted_qos) override;
    void on_log(int level, const char* text) override;

    bool set_up_security();
    bool set_up_will();
    bool begin_to_connect();
    bool has_reached_the_broker(short events);
    bool check(const char* what, int code);

    const MqttSettings& settings_;
    IMqttSessionOwner& owner_;
    const std::optional<Will> will_;
    bool reached_ = false; // TCP's part of the connection is made
    bool connected_ = false;
    bool subscribed_ = false;
    bool hung_up_on_ = false;
    bool refused_ = false;
    std::string failure_;
    std::string complaint_; // the library's first, which its codes do not hold: why TLS failed
    std::list<Sent> sent_;  // not acknowledged yet; a list, as the library writes into an element
};

} // namespace ecu::kova::com
