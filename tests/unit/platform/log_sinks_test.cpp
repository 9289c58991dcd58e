#include "logging/format.hpp"
#include "logging/stream_sink.hpp"
#include "logging/syslog_sink.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace ecu::kova::logging;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr timespec NOON{1'600'000'000, 7'000'000}; // 2020-09-13 12:26:40.007 UTC

/// A stream whose reader reads when the test says so. The writer's end blocks, as a daemon's standard output
/// does.
class UnreadStream : public testing::TestWithParam<bool> {
protected:
    UnreadStream()
    {
        const int failed = GetParam() ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) : pipe(ends.data());
        EXPECT_EQ(failed, 0);
        if (GetParam()) {
            std::swap(ends[0], ends[1]); // either will do, but only one is closed for writing
        }
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    ~UnreadStream() override
    {
        close(ends[0]);
        close(ends[1]);
    }

    std::string everything_so_far() const
    {
        std::string text;
        std::array<char, 65536> buffer{};
        for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    std::array<int, 2> ends{-1, -1};
};

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST_P(UnreadStream, HoldsNobodyUpAndIsToldWhatItMissed)
{
    // Larger than what a pipe takes at once, so that one of them is cut; as many as no buffer takes. Written
    // without care, this never ends.
    constexpr std::size_t WRITTEN = 200;
    const std::string record(9000, 'x');
    StreamSink sink(ends[1]);
    for (std::size_t i = 0; i < WRITTEN; ++i) {
        sink.write(NOON, record + "\n");
    }
    std::string text = everything_so_far();
    sink.write(NOON, "after\n");
    sink.write(NOON, "at last\n");
    text += everything_so_far();

    auto lines = lines_of(text);
    ASSERT_GT(lines.size(), 4U);
    std::size_t whole = 0;
    std::size_t cut = 0;
    while (lines.front().front() == 'x') {
        lines.front() == record ? ++whole : ++cut;
        lines.erase(lines.begin());
    }
    EXPECT_LE(cut, 1U);
    EXPECT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines,
                ElementsAre("2020-09-13T12:26:40.007Z WARNING kova.logging: " +
                                std::to_string(WRITTEN - whole) + " records were dropped: nobody read them",
                            "after", "at last"));
    EXPECT_EQ(fcntl(ends[1], F_GETFL) & O_NONBLOCK, 0) << "who shares the descriptor did not ask for that";
}

TEST_P(UnreadStream, IsWaitedForAWhileBeforeARecordIsLost)
{
    const std::string record = std::string(50'000, 'y') + "\n"; // two fill a pipe, and the reader is slow
    // A busy machine may keep a reader waiting longer than a record is: then another round.
    bool lost = true;
    for (int round = 0; lost && round < 20; ++round) {
        StreamSink sink(ends[1]);
        std::atomic<bool> written{false};
        std::string text;
        std::thread reader([&] {
            while (!written) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                text += everything_so_far();
            }
            text += everything_so_far();
        });
        std::string expected;
        for (int i = 0; i < 20; ++i) {
            sink.write(NOON, record);
            expected += record;
        }
        written = true;
        reader.join();
        lost = text != expected;
    }
    EXPECT_FALSE(lost);
}

INSTANTIATE_TEST_SUITE_P(PipeAndSocket, UnreadStream, testing::Values(false, true),
                         [](const auto& name) { return name.param ? "Socket" : "Pipe"; });

TEST(Log, NamesEveryLevelAndEscapesWhatIsNoText)
{
    const std::array<const char*, 9> names{"EMERG",  "ALERT", "CRITICAL", "ERROR",  "WARNING",
                                           "NOTICE", "INFO",  "DEBUG",    "UNKNOWN"};
    for (std::size_t level = 0; level < names.size(); ++level) {
        EXPECT_STREQ(to_str(static_cast<Level>(level)), names[level]);
    }
    EXPECT_EQ(stream_line(NOON, Level::ALERT, "a.b", "text"), "2020-09-13T12:26:40.007Z ALERT a.b: text\n");
    EXPECT_EQ(stream_line({0, 999'999'999}, Level::INFO, "a", ""), "1970-01-01T00:00:00.999Z INFO a: \n");
    EXPECT_EQ(escaped(std::string("\0\x1f ~\x7f\x80\xff\n", 8)), "\\x00\\x1F ~\\x7F\\x80\\xFF\n");
}

/// The system's logger, which reads when the test says so.
class SystemLogger : public testing::Test {
protected:
    SystemLogger() { listen(); }
    ~SystemLogger() override { close(socket_); }

    void listen()
    {
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    void restart()
    {
        close(socket_);
        root.remove("/log");
        listen();
    }

    std::vector<std::string> received() const
    {
        std::vector<std::string> packets;
        std::array<char, 4096> buffer{};
        for (ssize_t count = 0; (count = recv(socket_, buffer.data(), buffer.size(), 0)) >= 0;) {
            packets.emplace_back(buffer.data(), static_cast<std::size_t>(count));
        }
        return packets;
    }

    const TempRoot root;
    const std::string path = root.path("/log").string();
    int socket_ = -1;
    SyslogSink sink{path};
};

TEST_F(SystemLogger, GetsLevelFacilityAndIdentity)
{
    for (int level = 0; level < 8; ++level) {
        sink.write(NOON, static_cast<Level>(level), "test.module", "text");
        // Facility daemon is 3; the levels are syslog's own (RFC 3164, 4.1.1).
        EXPECT_THAT(received(),
                    ElementsAre(MatchesRegex(
                        "<" + std::to_string(3 * 8 + level) +
                        ">Sep 13 [ 0-9][0-9]:[0-9][0-9]:[0-9][0-9] celld.[0-9]+.: test.module: text")));
    }
}

TEST_F(SystemLogger, MayBeRestartedOrAwayOrStuck)
{
    sink.write(NOON, Level::ERROR, "m", "one");
    restart();
    sink.write(NOON, Level::ERROR, "m", "two");
    EXPECT_EQ(received().size(), 1U) << "the new logger is found at once";
    close(socket_);
    root.remove("/log");
    for (int i = 0; i < 3; ++i) {
        sink.write(NOON, Level::ERROR, "m", "nobody there");
    }
    listen();
    sink.write(NOON, Level::ERROR, "m", "three");
    auto packets = received();
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_TRUE(packets[0].ends_with("kova.logging: 3 records were dropped: nobody read them")) << packets[0];

    for (int i = 0; i < 2000; ++i) { // more than any queue takes
        sink.write(NOON, Level::ERROR, "m", "unread");
    }
    packets = received();
    sink.write(NOON, Level::ERROR, "m", "four");
    const auto told = received();
    ASSERT_EQ(told.size(), 2U);
    EXPECT_TRUE(told[0].ends_with(": " + std::to_string(2000 - packets.size()) +
                                  " records were dropped: nobody read them"))
        << told[0];
    EXPECT_TRUE(told[1].ends_with("m: four"));
}

} // namespace
