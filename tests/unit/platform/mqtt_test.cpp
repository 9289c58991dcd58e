#include "broker.hpp"
#include "observer.hpp"
#include "support/log_capture.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/com/transport_client.hpp>
#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <sys/stat.h>

namespace {

using namespace ecu::kova;
using namespace ecu::kova::com;
using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::StartsWith;

constexpr auto PATIENCE = 30s; // no more than a hung test costs

/// A broker of one's own, and clients of it.
class Mqtt : public testing::Test {
protected:
    using Client = std::shared_ptr<ITransportClient>;

    Client client(const std::string& name, const std::map<std::string, std::string>& more = {}) const
    {
        config::Configuration configuration;
        configuration.set("host", "127.0.0.1");
        configuration.set("port", std::to_string(broker.port()));
        configuration.set("client_name", name);
        for (const auto& [key, value] : more) {
            configuration.set(key, value);
        }
        return create_client(configuration, TransportType::MQTT);
    }
    static bool wait_for_connection(const Client& client, bool wanted)
    {
        return eventually([&] { return client->is_connected() == wanted; }, PATIENCE);
    }

    /// Publishes, and when it is back the client has looked at what was there before: the first message may
    /// have found it in the middle of a look.
    static bool go_round(const Client& client)
    {
        for (int message = 0; message < 2; ++message) {
            client->publish("system/status", text_message("connected", true));
            if (!client->flush(PATIENCE)) {
                return false;
            }
        }
        return true;
    }

    /// The first of this process's sockets that leads to the broker.
    int line_to_broker() const
    {
        for (int line = 3; line < 1024; ++line) {
            sockaddr_in peer{};
            socklen_t length = sizeof peer;
            if (getpeername(line, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
                peer.sin_family == AF_INET && ntohs(peer.sin_port) == broker.port()) {
                return line;
            }
        }
        return -1;
    }
    static std::ptrdiff_t threads()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
    }
    /// Tells one connection of the only client from the next.
    ino_t connection() const
    {
        struct stat socket {};
        EXPECT_EQ(fstat(line_to_broker(), &socket), 0);
        return socket.st_ino;
    }

    Broker broker;
    const std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
};

/// Speaks as a broker does, in the test's words (MQTT 3.1.1, chapter 3).
class ScriptedBroker {
public:
    explicit ScriptedBroker(int port) : listener_(Broker::listen_on(port)) { limit(listener_); }
    ScriptedBroker(const ScriptedBroker&) = delete;
    ScriptedBroker& operator=(const ScriptedBroker&) = delete;
    ~ScriptedBroker()
    {
        hang_up();
        close(listener_);
    }

    /// @return its CONNECT
    std::string accept_client()
    {
        const int next = accept(listener_, nullptr, nullptr);
        hang_up();
        client_ = next;
        limit(client_);
        return packet();
    }
    void hang_up()
    {
        if (client_ >= 0) {
            close(client_);
        }
        client_ = -1;
    }
    /// The next packet, which is short; what there is of it when the client has gone.
    std::string packet() const
    {
        const auto head = bytes(2);
        return head.size() < 2 ? head : head + bytes(static_cast<std::size_t>(head[1]));
    }
    void say(const std::string& text) const
    {
        EXPECT_EQ(send(client_, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }

private:
    static void limit(int socket)
    {
        const timeval patience{PATIENCE.count(), 0};
        setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    std::string bytes(std::size_t count) const
    {
        std::string text(count, '\0');
        const auto got = recv(client_, text.data(), count, MSG_WAITALL);
        text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return text;
    }

    int listener_;
    int client_ = -1;
};

const std::string ACCEPTED = "\x20\x02\0\0"s;

std::string field(const std::string& text)
{
    return std::string{static_cast<char>(text.size() >> 8U), static_cast<char>(text.size())} + text;
}

std::string packet(char kind, const std::string& body)
{
    std::string text(1, kind);
    auto left = body.size();
    for (; left > 127; left >>= 7U) {
        text += static_cast<char>(0x80U | (left & 0x7fU));
    }
    return text + static_cast<char>(left) + body;
}

TEST_F(Mqtt, SaysWhatItWasToldAndHearsWhatTheBrokerSays)
{
    const LogCapture log;
    ScriptedBroker scripted(broker.port());
    const auto daemon = client("daemon", {{"bus.username", "truck"}, {"bus.password", "secret"}});
    scripted.accept_client();
    scripted.say(ACCEPTED);
    ASSERT_TRUE(wait_for_connection(daemon, true));
    EXPECT_TRUE(daemon->publish("system/x", text_message("state", true)));
    const auto first = scripted.packet();
    EXPECT_TRUE(daemon->last_will("system/w", text_message("gone", true)));
    EXPECT_EQ(scripted.accept_client(), // anew, with the will
              packet(0x10, field("MQTT") + "\x04\xee\0\x1e"s + field("daemon") + field("system/w") +
                               field("gone") + field("truck") + field("secret")));
    scripted.say(ACCEPTED);
    for (const auto& publish : {first, scripted.packet()}) { // which nobody acknowledged
        EXPECT_EQ(publish, packet(0x33, field("system/x") + publish.substr(12, 2) + "state"));
    }

    for (const auto& [filter, qos, granted] : {std::tuple{"rt/+", "\0"s, "\0"s}, {"be/#", "\1"s, "\x80"s}}) {
        EXPECT_TRUE(daemon->subscribe(filter, observer));
        const auto subscribe = scripted.packet();
        const auto id = subscribe.substr(2, 2);
        EXPECT_EQ(subscribe, packet('\x82', id + field(filter) + qos));
        scripted.say(packet('\x90', id + granted));
    }
    EXPECT_FALSE(daemon->subscribe("be#", observer) || daemon->publish("be/#", text_message("no topic")));
    const std::string largest(1024UL * 1024UL, 'x');
    scripted.say(packet(0x30, field("rt/a") + largest + largest.substr(0, 1)));
    scripted.say(packet(0x30, field("rt/b") + largest) + packet(0x31, field("rt/c")));
    EXPECT_TRUE(observer->wait_for(2, PATIENCE) ==
                (std::vector<std::string>{"rt/b: " + largest, "rt/c kept: "}));
    EXPECT_EQ(log.count("rt/a is too large"), 1U);
    EXPECT_EQ(log.count("refuses a subscription"), 1U);

    EXPECT_TRUE(daemon->publish("rt/x", text_message("now")));
    EXPECT_EQ(scripted.packet(), packet(0x30, field("rt/x") + "now"));
    EXPECT_FALSE(daemon->flush(1ms)) << "not acknowledged";
    scripted.hang_up();
    EXPECT_NE(scripted.accept_client(), "");
    scripted.say(ACCEPTED);
    EXPECT_EQ(scripted.packet().substr(4), field("be/#") + "\1");
    EXPECT_EQ(scripted.packet().substr(4), field("rt/+") + "\0"s);
    const auto again = scripted.packet();
    EXPECT_EQ(again.substr(14), "state");
    scripted.say(packet(0x40, again.substr(12, 2)));
    EXPECT_TRUE(daemon->flush(PATIENCE));
    scripted.hang_up(); // once more, so soon: as a broker does on whose id another client comes
    const auto told = [&] {
        return log.contains(logging::Level::WARNING, "id 'daemon' is in use elsewhere");
    };
    EXPECT_TRUE(eventually(told, PATIENCE)) << log;
}

TEST_F(Mqtt, AConnectionThatFailsIsToldOnceInItsOwnWords)
{
    ScriptedBroker scripted(broker.port());
    for (const auto& [code, is_final, words] :
         {std::tuple{"\2"s, true,
                     "the broker refused: the client id 'daemon' is not to its liking, or is in use"},
          {"\3"s, false, "the broker refused: Connection Refused: broker unavailable"},
          {"\5"s, true, "the broker refused: Connection Refused: not authorised"}}) {
        const LogCapture log;
        const auto daemon = client("daemon");
        scripted.accept_client();
        scripted.say("\x20\x02\0"s + code);
        EXPECT_TRUE(
            eventually([&, text = words] { return log.contains(logging::Level::WARNING, text); }, PATIENCE))
            << log;
        EXPECT_FALSE(daemon->is_connected());
        EXPECT_TRUE(eventually([&] { return daemon->connection_failure().has_value(); }, PATIENCE));
        EXPECT_EQ(daemon->connection_failure()->refused, is_final);
        EXPECT_THAT(daemon->connection_failure()->reason, StartsWith(words));
    }
}

TEST_F(Mqtt, ABrokerThatIsAbsentHoldsUpNobodyAndGetsTheStateLater)
{
    const TempRoot root;
    root.write("/bad.pem", "no certificate");
    std::filesystem::copy_file("/etc/ssl/certs/ca-certificates.crt", root.path("/ca.pem"));
    const LogCapture log;
    const auto tls = client("tls", {{"bus.cafile", "/ca.pem"}});
    // libmosquitto 2.0 sets up TLS with the first connection that wants it, without a lock.
    EXPECT_TRUE(eventually([&] { return log.count("next in 1 s") == 1; }, PATIENCE)) << log;
    const auto bad = client("bad", {{"bus.cafile", "/bad.pem"}});
    const auto user = client("user", {{"bus.username", "caf\xe9"}});
    const auto latin = client("caf\xe9"); // which the library would end the process for
    EXPECT_TRUE(latin->publish("system/status", text_message("kept", true)));
    const auto daemon = client("daemon");
    EXPECT_FALSE(daemon->is_connected() || daemon->publish("rt/system/modem_rssi", text_message("gone")));
    EXPECT_TRUE(daemon->publish("system/modem/status", text_message("first", true)));
    EXPECT_FALSE(daemon->flush(1ms));
    // Each waits longer before each try, and only the first failure of a row is worth a warning.
    EXPECT_TRUE(eventually([&] { return log.count("next in 2 s") == 5; }, PATIENCE)) << log;
    for (const auto& [level, delay] :
         {std::pair{logging::Level::WARNING, "1 s"}, {logging::Level::DEBUG, "2 s"}}) {
        const auto again = "; trying again for ever, next in "s + delay;
        for (const auto& why :
             {"connecting failed: Connection refused" + again, "connecting failed: A TLS error occurred. ("s,
              "the client id is no text that MQTT takes" + again, "setting the user name failed"s}) {
            EXPECT_TRUE(log.contains(level, why)) << why << delay << log;
        }
    }
    EXPECT_EQ(log.count("/bad.pem"), 2U) << log;
    EXPECT_FALSE(daemon->connection_failure().value().refused);
    broker.start();
    EXPECT_TRUE(daemon->flush(PATIENCE));
    EXPECT_FALSE(daemon->connection_failure().has_value());
    const auto late = client("late");
    late->subscribe("system/#", observer);
    EXPECT_THAT(observer->wait_for(1, PATIENCE), ElementsAre("system/modem/status kept: first"));
}

TEST_F(Mqtt, AnObserverMayThrowPublishAndBeTheLastToHoldTheClient)
{
    broker.start();
    auto daemon = client("daemon");
    std::promise<void> destroyed;
    Client held = daemon;
    observer->on_message([&](const std::string& topic) {
        if (topic == "in/first") {
            held->publish("in/second", text_message("from the observer"));
            EXPECT_FALSE(held->flush(PATIENCE)) << "the thread that would send is the one that waits";
            throw std::runtime_error("a careless observer");
        }
        held.reset();
        destroyed.set_value();
    });
    daemon->subscribe("in/#", observer);
    ASSERT_TRUE(wait_for_connection(daemon, true));
    const auto before = connection();
    EXPECT_TRUE(daemon->last_will("system/status", text_message("too late", true)));
    ASSERT_TRUE(go_round(daemon));
    EXPECT_EQ(connection(), before) << "a message to who listens might have passed by";
    daemon->publish("in/first", text_message("go"));
    daemon.reset();
    EXPECT_EQ(destroyed.get_future().wait_for(PATIENCE), std::future_status::ready);
    EXPECT_EQ(observer->wait_for(2, PATIENCE).size(), 2U);
}

TEST_F(Mqtt, AWillThatCameLateTakesANewConnectionAndSpeaksForAClientThatVanished)
{
    broker.start();
    std::thread([] {}).join(); // with the first thread a sanitizer begins one of its own
    for (const bool killed : {false, true}) {
        const auto threads_before = threads();
        auto daemon = client("daemon");
        EXPECT_FALSE(daemon->last_will("system/#", text_message("no topic")));
        EXPECT_TRUE(daemon->last_will("system/status", text_message("overtaken", true)));
        ASSERT_TRUE(go_round(daemon));
        const auto before = connection();
        EXPECT_TRUE(daemon->last_will("system/status", text_message("nobody home", true)));
        EXPECT_TRUE(daemon->publish("rt/x", text_message("meanwhile"))) << "nothing is refused over it";
        ASSERT_TRUE(go_round(daemon));
        EXPECT_NE(connection(), before);

        const int line = line_to_broker();
        const auto witness = client("witness");
        const auto seen = std::make_shared<RecordingObserver>();
        witness->subscribe("system/+", seen);
        EXPECT_THAT(seen->wait_for(1, PATIENCE), ElementsAre("system/status kept: connected"));
        if (killed) {
            shutdown(line, SHUT_RDWR); // without the farewell
        } else {
            daemon.reset();
            // But for the witness's.
            EXPECT_TRUE(eventually([&] { return threads() <= threads_before + 1; }, PATIENCE));
            witness->publish("system/end", text_message("a farewell"));
        }
        EXPECT_EQ(seen->wait_for(2, PATIENCE).at(1),
                  killed ? "system/status: nobody home" : "system/end: a farewell");
    }
}

} // namespace
