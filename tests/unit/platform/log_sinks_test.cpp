#include "logging/format.hpp"
#include "logging/stream_sink.hpp"
#include "logging/syslog_sink.hpp"
#include "support/datagrams.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace ecu::kova::logging;
using testing::ElementsAre;
using testing::EndsWith;
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

TEST_P(UnreadStream, HoldsNobodyUpAndIsToldWhatItMissed)
{
    // Larger than what a pipe takes at once, so that one of them is cut, or larger than a socket's buffer; as
    // many as no buffer takes. Written without care, this never ends.
    constexpr std::size_t WRITTEN = 200;
    const std::string record(GetParam() ? 300'000 : 9000, 'x');
    const auto lowest_free_descriptor = [] {
        const int descriptor = dup(STDIN_FILENO);
        close(descriptor);
        return descriptor;
    };
    const int free_before = lowest_free_descriptor();
    StreamSink sink(ends[1]);
    for (std::size_t i = 0; i < WRITTEN; ++i) {
        sink.write(NOON, record + "\n");
    }
    EXPECT_EQ(lowest_free_descriptor(), free_before);
    std::string text = everything_so_far();
    sink.write(NOON, "after\n");
    sink.write(NOON, "at last\n");
    text += everything_so_far();

    const auto told = text.find("2020");
    ASSERT_NE(told, std::string::npos);
    const auto whole = told / (record.size() + 1);
    const auto cut = told % (record.size() + 1) == 0 ? 0U : 1U; // and ended before the next begins
    const auto in_front = text.substr(0, told);
    EXPECT_EQ(std::count(in_front.begin(), in_front.end(), '\n'), whole + cut);
    EXPECT_EQ(text.substr(told),
              "2020-09-13T12:26:40.007Z WARNING kova.logging: " + std::to_string(WRITTEN - whole) +
                  " records were dropped: nobody read them\nafter\nat last\n");
    EXPECT_EQ(fcntl(ends[1], F_GETFL) & O_NONBLOCK, 0) << "who shares the descriptor did not ask for that";
}

TEST_P(UnreadStream, IsWaitedForAWhileBeforeARecordIsLost)
{
    const std::string record = std::string(50'000, 'y') + "\n"; // two fill a pipe, and the reader is slow
    std::string text;
    // A busy machine may keep a reader waiting longer than a record is: then another round.
    for (int round = 0; round < 100 && text.size() != 20 * record.size(); ++round) {
        text.clear();
        std::jthread reader([&](const std::stop_token& written) {
            do {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                text += everything_so_far();
            } while (!written.stop_requested());
            text += everything_so_far();
        });
        StreamSink sink(ends[1]);
        for (int i = 0; i < 20; ++i) {
            sink.write(NOON, record);
        }
    }
    EXPECT_EQ(text.size(), 20 * record.size());
}

INSTANTIATE_TEST_SUITE_P(PipeAndSocket, UnreadStream, testing::Values(false, true),
                         [](const auto& name) { return name.param ? "Socket" : "Pipe"; });

class SystemLogger : public testing::Test {
protected:
    const TempRoot root;
    Datagrams logger{root.path("/log").string()};
    SyslogSink sink{root.path("/log").string()};
};

TEST_F(SystemLogger, MayBeRestartedOrAwayOrStuck)
{
    const auto say = [this](const std::string& text, int times = 1) {
        for (int i = 0; i < times; ++i) {
            sink.write(NOON, Level::ERROR, "m", text);
        }
    };
    const auto dropped = [](std::size_t count) {
        return EndsWith(": kova.logging: " + std::to_string(count) +
                        " records were dropped: nobody read them");
    };
    say("one");
    // Facility daemon is 3, an error 3 (RFC 3164, 4.1.1).
    EXPECT_THAT(logger.received(), ElementsAre(MatchesRegex("<27>Sep 13 ..:..:.. celld.[0-9]+.: m: one")));
    logger.close();
    logger.open();
    say("two");
    EXPECT_THAT(logger.received(), ElementsAre(EndsWith("m: two"))) << "the new logger is found at once";
    say(std::string(1'000'000, 'x')); // more than a datagram takes
    say("three");
    EXPECT_THAT(logger.received(), ElementsAre(dropped(1), EndsWith("m: three")));
    logger.close();
    say("nobody there", 3);
    logger.open();
    say("four");
    say("five");
    EXPECT_THAT(logger.received(), ElementsAre(dropped(3), EndsWith("m: four"), EndsWith("m: five")));
    say("unread", 2000); // more than any queue takes
    const auto read = logger.received().size();
    say("six");
    EXPECT_THAT(logger.received(), ElementsAre(dropped(2000 - read), EndsWith("m: six")));
    SyslogSink nowhere{std::string(sizeof(sockaddr_un::sun_path), '/')};
    nowhere.write(NOON, Level::ERROR, "m", "a name too long for a socket is no place to write to");
}

} // namespace
