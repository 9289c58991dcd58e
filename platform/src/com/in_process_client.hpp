#pragma once

#include "in_process_broker.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace ecu::kova::com {

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
    bool last_will(const std::string& topic, const Message& message) override;

private:
    InProcessBroker& broker_ = InProcessBroker::instance();
    InProcessBroker::Mailbox mailbox_; // shared with the thread, which may outlive the client
    std::thread thread_;
};

} // namespace ecu::kova::com
