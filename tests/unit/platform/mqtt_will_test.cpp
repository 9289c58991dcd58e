#include "mqtt_fixture.hpp"
#include "support/log_capture.hpp"
#include "support/temp_root.hpp"

#include <future>

namespace {

using namespace ecu::kova::com;
using namespace std::chrono_literals;

/// Between a client and the broker; it can cut the line as a killed client does: without a farewell.
class Line {
public:
    explicit Line(int broker_port) : listener_(Broker::listen_on(0)), broker_port_(broker_port)
    {
        thread_ = std::thread([this] { forward(); });
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line()
    {
        cut_ = true;
        thread_.join();
        close(listener_);
    }

    int port() const { return Broker::port_of(listener_); }
    int connections() const { return connections_; }
    void cut() { cut_ = true; }

private:
    void forward()
    {
        while (!cut_) {
            pollfd incoming{listener_, POLLIN, 0};
            if (poll(&incoming, 1, 10) <= 0) {
                continue;
            }
            const int client = accept(listener_, nullptr, nullptr);
            const int broker = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const auto address = Broker::loopback(broker_port_);
            ++connections_;
            if (connect(broker, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
                copy_until_cut(client, broker);
            }
            const linger at_once{1, 0}; // a reset, no orderly end
            setsockopt(client, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
            close(client);
            close(broker);
        }
    }

    void copy_until_cut(int left, int right) const
    {
        while (!cut_) {
            pollfd both[2] = {{left, POLLIN, 0}, {right, POLLIN, 0}};
            poll(both, 2, 10);
            if ((both[0].revents != 0 && !copy(left, right)) ||
                (both[1].revents != 0 && !copy(right, left))) {
                return;
            }
        }
    }
    static bool copy(int from, int to)
    {
        char buffer[4096];
        const auto count = recv(from, buffer, sizeof buffer, 0);
        return count > 0 && send(to, buffer, static_cast<std::size_t>(count), MSG_NOSIGNAL) == count;
    }

    int listener_;
    int broker_port_;
    std::atomic<bool> cut_{false};
    std::atomic<int> connections_{0};
    std::thread thread_;
};

class MqttWill : public Mqtt {
protected:
    MqttWill() { broker.start(); }

    Client client_over(const Line& line) const
    {
        auto configuration = settings("daemon");
        configuration.set("port", std::to_string(line.port()));
        return create_client(configuration, TransportType::MQTT);
    }
    bool seen_late_is(const std::string& topic, const std::string& text) const
    {
        return eventually([&] { return seen_late(topic) == text; }, 10s);
    }
};

} // namespace

TEST_F(MqttWill, SpeaksForAClientThatVanishedAndIsSilentAfterAFarewell)
{
    for (const bool killed : {false, true}) {
        Line line(broker.port());
        auto daemon = client_over(line);
        EXPECT_FALSE(daemon->last_will("system/#", text_message("no topic")));
        EXPECT_TRUE(daemon->last_will("system/status", text_message("overtaken", true)));
        EXPECT_TRUE(daemon->last_will("system/status", text_message("nobody home", true)));
        EXPECT_TRUE(daemon->publish("system/status", text_message("connected", true)));
        ASSERT_TRUE(daemon->flush(10s));
        EXPECT_EQ(seen_late("system/status"), "connected");
        if (killed) {
            line.cut();
            EXPECT_TRUE(wait_for_connection(daemon, false));
        }
        daemon.reset();
        EXPECT_TRUE(seen_late_is("system/status", killed ? "nobody home" : "connected"));
    }
}

TEST_F(MqttWill, OfAConnectedClientTakesANewConnectionWhileThatCostsNothing)
{
    Line line(broker.port());
    const auto daemon = client_over(line);
    ASSERT_TRUE(wait_for_connection(daemon, true));
    EXPECT_TRUE(daemon->publish("system/status", text_message("early", true)));
    ASSERT_TRUE(daemon->flush(10s));
    const int before = line.connections();
    EXPECT_TRUE(daemon->last_will("system/status", text_message("nobody home", true)));
    EXPECT_TRUE(eventually([&] { return line.connections() == before + 1; }, 10s));
    EXPECT_TRUE(daemon->publish("rt/x", text_message("meanwhile"))) << "nothing is refused over it";
    EXPECT_TRUE(daemon->publish("system/status", text_message("connected", true)));
    ASSERT_TRUE(daemon->flush(10s));
    line.cut();
    EXPECT_TRUE(seen_late_is("system/status", "nobody home"));
}

TEST_F(MqttWill, OfAClientThatListensWaitsForTheNextConnection)
{
    Line line(broker.port());
    const auto daemon = client_over(line);
    const auto observer = std::make_shared<RecordingObserver>();
    daemon->subscribe("be/status", observer);
    const auto backend = client("backend");
    ASSERT_TRUE(wait_for_connection(daemon, true) && wait_for_connection(backend, true));
    backend->publish("be/status", text_message("one", true));
    ASSERT_EQ(observer->wait_for(1, 10s).size(), 1U);
    EXPECT_TRUE(daemon->last_will("system/status", text_message("too late", true)));
    EXPECT_TRUE(daemon->publish("system/status", text_message("connected", true)));
    ASSERT_TRUE(daemon->flush(10s));
    EXPECT_EQ(line.connections(), 1) << "a message might have passed by";
}

TEST_F(Mqtt, ARefusedConnectionIsToldWithTlsTooAndWithoutTryingInBetween)
{
    const TempRoot root;
    root.write("/ca.pem", "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n");
    const LogCapture log;
    auto configuration = settings("daemon"); // no broker runs
    const auto plain = create_client(configuration, TransportType::MQTT);
    EXPECT_TRUE(eventually([&] { return log.count("Connection refused") == 1; }, 8s)) << log;

    std::system(("cp /etc/ssl/certs/ca-certificates.crt " + root.path("/ca.pem").string()).c_str());
    configuration.set("bus.cafile", "/ca.pem");
    const auto tls = create_client(configuration, TransportType::MQTT);
    EXPECT_TRUE(eventually([&] { return log.count("connecting failed: Connection refused") >= 2; }, 8s))
        << log;
    EXPECT_EQ(log.count("does not answer"), 0U) << log;
    EXPECT_LE(log.count("connecting failed"), 4U) << "it must not spin " << log;
}

TEST_F(Mqtt, AClientIdThatIsInUseElsewhereIsToldInThoseWords)
{
    broker.start();
    const LogCapture log;
    const auto one = client("celld");
    const auto other = client("celld");
    EXPECT_TRUE(eventually([&] { return log.count("the client id 'celld' is in use elsewhere") > 0; }, 30s))
        << log;
}

TEST_F(Mqtt, ANameThatMqttRefusesIsAFailedSessionAndNoCrash)
{
    broker.start();
    const LogCapture log;
    const auto latin = client("caf\xe9");
    const auto control = client("a\x01z");
    EXPECT_TRUE(latin->publish("system/status", text_message("kept", true)));
    EXPECT_TRUE(eventually([&] { return log.count("the client id is no text that MQTT takes") == 2; }, 8s))
        << log;
}
