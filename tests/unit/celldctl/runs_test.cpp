#include "bus/message_adapter.hpp"
#include "support/child.hpp"
#include "support/temp_root.hpp"
#include "unit/platform/broker.hpp"
#include "unit/platform/observer.hpp"

#include <ecu/kova/date_time.hpp>
#include <gmock/gmock.h>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr auto PATIENCE = 30s; // no more than a hung test costs
constexpr auto ENOUGH = "3";   // seconds for a connection on a busy machine
constexpr auto STATUS = "system/modem/status";

/// Every verb that wants the broker; each with an end.
const std::vector<std::vector<std::string>> VERBS{
    {"status"},
    {"status", "--json"},
    {"wait-for", "connected", "--timeout", ENOUGH},
    {"watch", "--timeout", ENOUGH},
    {"monitor", "--timeout", ENOUGH},
    {"backend", "connected"},
    {"backend", "connected", "--interval", "1", "--timeout", ENOUGH},
    {"blackout", "on"}};

/// The program itself, as a user runs it.
class Client : public testing::Test {
protected:
    struct Outcome {
        int status;
        std::string said; // both streams
    };

    Outcome run(const std::vector<std::string>& words) const
    {
        std::vector<std::string> command{CELLDCTL, "-h", "127.0.0.1", "-p", std::to_string(broker.port())};
        command.insert(command.end(), words.begin(), words.end());
        return run_program(command);
    }
    Outcome run_program(const std::vector<std::string>& command) const
    {
        Child child;
        root.write("/said", "");
        child.start(command, root.path("/said"));
        if (!eventually([&] { return !child.running(); }, PATIENCE)) {
            return {-1, "it hangs"};
        }
        return {child.result(), root.read("/said")};
    }

    com::Message status(pb::ModemStatus::ModemState state, std::chrono::nanoseconds old = 0s) const
    {
        pb::ModemStatus message;
        message.set_state(state);
        message.set_reset_reason(pb::ModemStatus::NONE);
        auto payload = com::PbInternalMessageAdapter<pb::ModemStatus>().serialize(message)->payload();
        const auto stamp =
            static_cast<std::uint64_t>(ecu::kova::DateTime::time_since_boot_ns() - old.count());
        for (std::size_t byte = 0; byte < 8; ++byte) {
            payload[10 + byte] = static_cast<std::uint8_t>(stamp >> 8 * byte);
        }
        com::Message frame(std::move(payload));
        frame.retained(true);
        return frame;
    }
    void retain(const std::string& topic, const com::Message& message)
    {
        ecu::kova::config::Configuration configuration;
        configuration.set("host", "127.0.0.1");
        configuration.set("port", std::to_string(broker.port()));
        configuration.set("client_name", "daemon");
        const auto client = com::create_client(configuration, com::TransportType::MQTT);
        client->publish(topic, message);
        ASSERT_TRUE(client->flush(PATIENCE));
    }

    /// One line on standard error and none on standard output.
    static void expect_one_line(const Outcome& outcome, const std::string& about)
    {
        EXPECT_THAT(outcome.said, StartsWith("celldctl: ")) << about;
        EXPECT_EQ(std::count(outcome.said.begin(), outcome.said.end(), '\n'), 1)
            << about << ": " << outcome.said;
    }

    TempRoot root;
    Broker broker;
};

} // namespace

TEST_F(Client, SaysInOneLineThatThereIsNoBrokerOrThatItRefuses)
{
    for (const auto& verb : VERBS) {
        const auto absent = run(verb);
        EXPECT_EQ(absent.status, 3) << verb.front();
        expect_one_line(absent, verb.front());
        EXPECT_THAT(absent.said, HasSubstr("Connection refused"));
    }
    auto nowhere = VERBS.front();
    nowhere.insert(nowhere.end(), {"-h", "host.invalid"});
    EXPECT_EQ(run(nowhere).status, 3);
    root.write("/broker.conf",
               "listener " + std::to_string(broker.port()) + " 127.0.0.1\nallow_anonymous false\n");
    Child strict;
    strict.start({"/usr/sbin/mosquitto", "-c", root.path("/broker.conf")}, "/dev/null");
    ASSERT_TRUE(eventually([&] { return run(VERBS.front()).status == 5; }, PATIENCE));
    for (const auto& verb : VERBS) {
        const auto refused = run(verb);
        EXPECT_EQ(refused.status, 5) << verb.front();
        expect_one_line(refused, verb.front());
        EXPECT_THAT(refused.said, HasSubstr("not authorised"));
    }
}

TEST_F(Client, ShowsWhatIsOnTheBusAndSaysWhatDoesNotDecode)
{
    broker.start();
    EXPECT_EQ(run({"backend", "connected"}).status, 0);
    EXPECT_EQ(run({"blackout", "off"}).status, 0);
    retain(STATUS, status(pb::ModemStatus::CONNECTED));
    EXPECT_EQ(run({"status"}).status, 0);
    EXPECT_EQ(run({"wait-for", "connected"}).said, "CONNECTED\n");
    const auto monitored = run({"monitor", "--json", "--only", "backend", "--until", "connected"});
    EXPECT_EQ(monitored.status, 0);
    EXPECT_THAT(monitored.said, testing::EndsWith(R"("fields":{"status":"BACKEND_CONNECTED"}})"
                                                  "\n"));
    EXPECT_EQ(run({"monitor", "--timeout", ENOUGH}).status, 0);
    EXPECT_EQ(run({"monitor", "--until", "locked", "--timeout", ENOUGH}).status, 4);
    const auto watched = run({"watch", "--timeout", ENOUGH});
    EXPECT_EQ(watched.status, 0);
    EXPECT_THAT(watched.said, HasSubstr("state=CONNECTED"));

    retain(STATUS, text_message("garbage", true));
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"status"}, {"wait-for", "connected", "--timeout", ENOUGH}, {"monitor", "--timeout", ENOUGH}}) {
        const auto outcome = run(words);
        EXPECT_EQ(outcome.status, 6) << outcome.said;
        EXPECT_THAT(outcome.said, HasSubstr("celldctl: ")) << words.front();
    }
}

TEST_F(Client, IsNotTakenInByWhatADaemonHasLeft)
{
    broker.start();
    retain(STATUS, status(pb::ModemStatus::CONNECTED, 301s));
    EXPECT_EQ(run({"status"}).status, 1);
    EXPECT_EQ(run({"wait-for", "connected", "--timeout", ENOUGH}).status, 4);
    EXPECT_EQ(run({"monitor", "--until", "connected", "--timeout", ENOUGH}).status, 4);
}

TEST_F(Client, EndsQuietlyWithItsReaderAndSaysWhenItCannotWrite)
{
    broker.start();
    retain(STATUS, status(pb::ModemStatus::CONNECTED));
    const auto in_a_shell = [&](const std::string& line) {
        const auto client =
            std::string("C='") + CELLDCTL + " -h 127.0.0.1 -p " + std::to_string(broker.port()) + "'; ";
        return run_program({"/bin/bash", "-c", client + line});
    };
    const auto quiet = in_a_shell("$C monitor --json | head -c 8; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(quiet.said, "{\"time\":");
    EXPECT_EQ(quiet.status, 8);
    for (const char* const line :
         {"$C status > /dev/full", "$C status >&-", "$C monitor > /dev/full", "$C watch > /dev/full"}) {
        const auto outcome = in_a_shell(line);
        EXPECT_EQ(outcome.status, 8) << line;
        expect_one_line(outcome, line);
    }
    // A reader that does not read: SIGTERM ends it all the same, or SIGKILL would have to (137).
    const auto pipe = root.path("/pipe").string();
    EXPECT_EQ(in_a_shell("mkfifo " + pipe + "; exec 3<> " + pipe + "; head -c 65536 /dev/zero >&3; " +
                         "timeout --preserve-status -k 20 1 $C status >&3")
                  .status,
              128 + SIGTERM);
}
