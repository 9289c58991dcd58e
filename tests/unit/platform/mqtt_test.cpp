#include "mqtt_fixture.hpp"

#include <memory>
#include <stdexcept>

namespace {

using namespace ecu::kova::com;
using namespace std::chrono_literals;

/// Accepts one client, lets it publish, and hangs up without an acknowledgement.
void swallow_one_publication(int port)
{
    const int listener = Broker::listen_on(port);
    const int client = accept(listener, nullptr, nullptr);
    close(listener);
    char buffer[4096];
    ASSERT_GT(recv(client, buffer, sizeof buffer, 0), 0); // CONNECT
    const char connack[] = {0x20, 2, 0, 0};
    ASSERT_EQ(send(client, connack, sizeof connack, MSG_NOSIGNAL), 4);
    std::string received;
    while (received.find("system/event") == std::string::npos) {
        const auto count = recv(client, buffer, sizeof buffer, 0);
        ASSERT_GT(count, 0);
        received.append(buffer, static_cast<std::size_t>(count));
    }
    close(client);
}

} // namespace

TEST_F(Mqtt, ABrokerThatIsAbsentAtStartHoldsUpNobodyAndGetsTheStateLater)
{
    const auto begin = std::chrono::steady_clock::now();
    const auto daemon = client("daemon");
    EXPECT_FALSE(daemon->is_connected());
    EXPECT_FALSE(daemon->publish("rt/system/modem_rssi", text_message("gone")));
    EXPECT_TRUE(daemon->publish("system/modem/status", text_message("first", true)));
    EXPECT_FALSE(daemon->flush(10ms));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);

    broker.start();
    EXPECT_TRUE(daemon->flush(10s));
    EXPECT_EQ(seen_late("system/modem/status"), "first");
}

TEST_F(Mqtt, RetainedStateOutlivesABrokerThatForgetsEverything)
{
    broker.start();
    const auto daemon = client("daemon");
    ASSERT_TRUE(wait_for_connection(daemon, true));
    daemon->publish("system/modem/hardware", text_message("imei", true));
    daemon->publish("system/modem/status", text_message("before", true));
    ASSERT_TRUE(daemon->flush(10s));

    broker.stop();
    ASSERT_TRUE(wait_for_connection(daemon, false));
    EXPECT_TRUE(daemon->publish("system/modem/status", text_message("overtaken", true)));
    EXPECT_TRUE(daemon->publish("system/modem/status", text_message("newest", true)));
    EXPECT_FALSE(daemon->publish("system/event", text_message("not kept")));

    broker.start();
    const auto observer = std::make_shared<RecordingObserver>();
    const auto witness = client("witness");
    witness->subscribe("#", observer);
    EXPECT_EQ(observer->wait_for(2, 10s).size(), 2U);
    EXPECT_EQ(seen_late("system/modem/status"), "newest");
    EXPECT_EQ(seen_late("system/modem/hardware"), "imei");
    EXPECT_EQ(observer->wait_for(3, 100ms).size(), 2U); // neither the overtaken one nor the event arrives
}

TEST_F(Mqtt, SubscribesAgainAfterAReconnect)
{
    broker.start();
    const auto observer = std::make_shared<RecordingObserver>();
    const auto daemon = client("daemon");
    const auto backend = client("backend");
    daemon->subscribe("be/+", observer);
    ASSERT_TRUE(wait_for_connection(daemon, true));
    backend->publish("be/status", text_message("one", true));
    ASSERT_EQ(observer->wait_for(1, 10s).size(), 1U);

    broker.stop();
    ASSERT_TRUE(wait_for_connection(daemon, false) && wait_for_connection(backend, false));
    broker.start();
    ASSERT_TRUE(wait_for_connection(daemon, true) && wait_for_connection(backend, true));
    backend->publish("be/status", text_message("two", true));
    EXPECT_TRUE(eventually([&] { return observer->wait_for(0, 0s).back().text == "two"; }, 10s));
}

TEST_F(Mqtt, WhatTheBrokerNeverAcknowledgedIsSentAgain)
{
    std::thread deaf_broker([this] { swallow_one_publication(broker.port()); });
    const auto daemon = client("daemon");
    EXPECT_TRUE(wait_for_connection(daemon, true));
    EXPECT_TRUE(daemon->publish("system/event", text_message("once")));
    deaf_broker.join();
    ASSERT_TRUE(wait_for_connection(daemon, false));
    EXPECT_FALSE(daemon->flush(10ms));

    broker.start();
    EXPECT_TRUE(daemon->flush(10s));
}

TEST_F(Mqtt, AnObserverMayThrowPublishAndBeTheLastToHoldTheClient)
{
    broker.start();
    auto daemon = client("daemon");
    const auto observer = std::make_shared<RecordingObserver>();
    std::promise<void> destroyed;
    std::shared_ptr<ITransportClient> held = daemon;
    observer->on_message([&](const std::string& topic) {
        if (topic == "in/first") {
            held->publish("in/second", text_message("from the observer"));
            throw std::runtime_error("a careless observer");
        }
        held.reset();
        destroyed.set_value();
    });
    daemon->subscribe("in/#", observer);
    ASSERT_TRUE(wait_for_connection(daemon, true));
    daemon->publish("in/first", text_message("go"));
    daemon.reset();
    EXPECT_EQ(destroyed.get_future().wait_for(10s), std::future_status::ready);
    EXPECT_EQ(observer->wait_for(2, 10s).size(), 2U);
}
