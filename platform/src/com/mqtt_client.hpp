#pragma once

#include "mqtt_session.hpp"
#include "outbox.hpp"
#include "retries.hpp"
#include "subscriptions.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <threads/mutex.hpp>

namespace ecu::kova::com {

/// A reference to the mosquitto library's global state, whose own counting is not made for several threads.
class MqttLibrary {
public:
    MqttLibrary();
    MqttLibrary(const MqttLibrary&) = delete;
    MqttLibrary& operator=(const MqttLibrary&) = delete;
    ~MqttLibrary();
};

/// Makes one session after the other, for ever, and serves it; the only thread that touches the library.
/// Shared by the client and the thread, for the client may be destroyed by an observer on that very thread.
class MqttWorker final : private IMqttSessionOwner {
public:
    explicit MqttWorker(MqttSettings settings);
    MqttWorker(const MqttWorker&) = delete;
    MqttWorker& operator=(const MqttWorker&) = delete;
    ~MqttWorker() override;

    /// The thread's body.
    void run();
    /// Any thread.
    void stop();
    /// Any thread but the worker's own: false when it is still busy (in the name service) after `timeout`.
    bool wait_until_ended(std::chrono::milliseconds timeout);

    bool publish(const std::string& topic, const Message& message);
    bool subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer);
    bool last_will(const std::string& topic, const Message& message);
    Outbox& outbox() { return outbox_; }
    std::optional<ConnectionFailure> failure() const;

private:
    void received(const std::string& topic, const Message& message) override;
    void left(std::uint64_t item_id) override;

    /// How a session came to its end.
    enum class End { STOPPED, REPLACED, FAILED };

    End run_session();
    End serve_until_over(MqttSession& session);
    void session_connected();
    bool is_to_be_replaced(const MqttSession& session);
    std::optional<Will> will_for_a_session();
    ConnectionFailure failure_of(const MqttSession& session) const;
    bool hand_over(MqttSession& session);
    void report_failure(ConnectionFailure failure);
    void rest();
    void wake();
    void clear_wake();

    MqttLibrary library_;
    const MqttSettings settings_;
    Outbox outbox_;
    Subscriptions subscriptions_;
    int wake_descriptor_ = -1; // eventfd(2): something to send, or the end
    std::atomic<bool> stopping_{false};

    mutable threads::Mutex mutex_;
    std::set<std::string> unsent_filters_ THREADS_GUARDED_BY(mutex_);
    std::optional<Will> will_ THREADS_GUARDED_BY(mutex_);
    bool will_is_new_ THREADS_GUARDED_BY(mutex_) = false; // no session has been given it yet
    std::optional<ConnectionFailure> failure_ THREADS_GUARDED_BY(mutex_);
    bool ended_ THREADS_GUARDED_BY(mutex_) = false;
    std::condition_variable ended_changed_;

    // The thread's own.
    Retries retries_;
    bool failure_reported_ = false;
    std::chrono::steady_clock::time_point failing_since_; // where it is reported
};

class MqttClient final : public ITransportClient {
public:
    explicit MqttClient(const config::Configuration& configuration);
    MqttClient(const MqttClient&) = delete;
    MqttClient& operator=(const MqttClient&) = delete;
    ~MqttClient() override;

    bool publish(const std::string& topic, const Message& message) override;
    bool subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer) override;
    bool flush(std::chrono::milliseconds timeout) override;
    bool is_connected() const override;
    bool last_will(const std::string& topic, const Message& message) override;
    std::optional<ConnectionFailure> connection_failure() const override;

private:
    std::shared_ptr<MqttWorker> worker_;
    std::thread thread_;
};

} // namespace ecu::kova::com
