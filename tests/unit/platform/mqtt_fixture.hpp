#pragma once

#include "broker.hpp"
#include "observer.hpp"

#include <ecu/kova/com/transport_client.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

/// A broker of one's own, and clients of it.
class Mqtt : public testing::Test {
protected:
    using Client = std::shared_ptr<ecu::kova::com::ITransportClient>;

    ecu::kova::config::Configuration settings(const std::string& name) const
    {
        ecu::kova::config::Configuration configuration;
        configuration.set("host", "127.0.0.1");
        configuration.set("port", std::to_string(broker.port()));
        configuration.set("client_name", name);
        return configuration;
    }
    Client client(const std::string& name) const
    {
        return create_client(settings(name), ecu::kova::com::TransportType::MQTT);
    }
    static bool wait_for_connection(const Client& client, bool wanted)
    {
        return eventually([&] { return client->is_connected() == wanted; }, std::chrono::seconds(10));
    }

    /// What a program that joins now is told.
    std::string seen_late(const std::string& topic) const
    {
        const auto observer = std::make_shared<RecordingObserver>();
        const auto late = client("late");
        late->subscribe(topic, observer);
        const auto messages = observer->wait_for(1, std::chrono::seconds(10));
        return messages.empty() ? "nothing" : messages.front().text;
    }

    Broker broker;
};
