#include "frames.hpp"
#include "program.hpp"
#include "unit/platform/broker.hpp"

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
    {"backend", "connected", "--interval", "1", "--timeout", ENOUGH},
    {"blackout", "on"}};

/// The program itself, as a user runs it.
class Client : public testing::Test {
protected:
    Outcome run(const std::vector<std::string>& words) const
    {
        std::vector<std::string> command{CELLDCTL, "-h", "127.0.0.1", "-p", std::to_string(broker.port())};
        command.insert(command.end(), words.begin(), words.end());
        return run_program(root, command);
    }
    static com::Message connected(std::chrono::seconds old = 0s)
    {
        const std::chrono::nanoseconds now(ecu::kova::DateTime::time_since_boot_ns());
        return frame_of(status_in(pb::ModemStatus::CONNECTED), true, now - old);
    }
    void retain(const std::string& topic, const com::Message& message)
    {
        const auto client = client_at(broker.port(), "daemon");
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
    broker.start(root.path("/broker.conf"));
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
    retain(STATUS, connected());
    EXPECT_EQ(run({"status"}).status, 0);
    EXPECT_EQ(run({"wait-for", "connected"}).said, "CONNECTED\n");
    const auto monitored = run({"monitor", "--json", "--only", "backend", "--until", "connected"});
    EXPECT_EQ(monitored.status, 0);
    EXPECT_THAT(monitored.said, testing::EndsWith(R"("fields":{"status":"BACKEND_CONNECTED"}})"
                                                  "\n"));
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
    retain(STATUS, connected(301s));
    EXPECT_EQ(run({"status"}).status, 1);
    EXPECT_EQ(run({"wait-for", "connected", "--timeout", ENOUGH}).status, 4);
    EXPECT_EQ(run({"monitor", "--until", "connected", "--timeout", ENOUGH}).status, 4);
}

TEST_F(Client, EndsQuietlyWithItsReaderAndSaysWhenItCannotWrite)
{
    broker.start();
    retain(STATUS, connected());
    const auto in_a_shell = [&](const std::string& line) {
        const auto client =
            std::string("C='") + CELLDCTL + " -h 127.0.0.1 -p " + std::to_string(broker.port()) + "'; ";
        return run_program(root, {"/bin/bash", "-c", client + line});
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
