#pragma once

#include "subscriptions.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace ecu::kova::com {

/// What the bus knows of one client. Save `subscriptions`, everything is guarded by the bus's mutex.
struct InProcessMailbox {
    using Letter = std::pair<std::string, Message>;

    void take_in(const std::string& topic, const Message& message);
    bool idle() const { return inbox.empty() && !delivering; }

    Subscriptions subscriptions;
    std::deque<Letter> inbox;
    std::deque<Letter> kept; // retained messages of an outage, the newest of each topic
    bool delivering = false;
    bool stopping = false;
    std::condition_variable changed;
};

class InProcessClient final : public ITransportClient {
public:
    InProcessClient();
    InProcessClient(const InProcessClient&) = delete;
    InProcessClient& operator=(const InProcessClient&) = delete;
    ~InProcessClient() override;

    bool publish(const std::string& topic, const Message& message) override;
    bool subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer) override;
    bool flush(std::chrono::milliseconds timeout) override;
    bool is_connected() const override;

private:
    std::shared_ptr<InProcessMailbox> mailbox_; // shared with the thread, which may outlive the client
    std::thread thread_;
};

} // namespace ecu::kova::com
