#include "support/log_capture.hpp"

#include <ecu/kova/log_tap.hpp>
#include <ecu/kova/logging.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace ecu::kova;
using logging::Level;

/// Standard error as a file that the test reads.
class StderrFile {
public:
    StderrFile() : file_(std::tmpfile()), before_(dup(STDERR_FILENO))
    {
        dup2(fileno(file_), STDERR_FILENO);
        logging::set_log_mode(logging::LogMode::STDERR);
    }
    StderrFile(const StderrFile&) = delete;
    StderrFile& operator=(const StderrFile&) = delete;
    ~StderrFile()
    {
        logging::set_log_mode(logging::LogMode::SYSLOG);
        dup2(before_, STDERR_FILENO);
        close(before_);
        std::fclose(file_);
    }
    std::string text() const
    {
        std::string text(static_cast<std::size_t>(lseek(fileno(file_), 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(fileno(file_), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        return text;
    }

private:
    std::FILE* file_;
    int before_;
};

TEST(Logging, ARecordOnAStreamIsOneLineThatNoForeignByteCanForge)
{
    const StderrFile log;
    logging::module("test.stream").notice("answer ", 42, ": \x1b[2J\t\r\x7f", "caf\xc3\xa9\nsecond line");
    EXPECT_THAT(log.text(),
                testing::MatchesRegex("....-..-..T..:..:..\\....Z NOTICE test.stream: answer 42: "
                                      "\\\\x1B.2J\\\\x09\\\\x0D\\\\x7Fcaf\\\\xC3\\\\xA9\nsecond line\n"));
}

TEST(Logging, ThreadsDoNotMixTheirLines)
{
    const StderrFile log;
    std::array<std::thread, 4> threads;
    for (auto& thread : threads) {
        thread = std::thread([] {
            for (int record = 0; record < 250; ++record) {
                logging::module("test.threads").error(std::string(200, 'x'));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::istringstream lines(log.text());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ(line.substr(24), " ERROR test.threads: " + std::string(200, 'x'));
    }
    EXPECT_EQ(count, 1000);
}

TEST(Logging, AReaderThatHasGoneDoesNotKillTheProcess)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const StderrFile guard;
    dup2(ends[1], STDERR_FILENO);
    logging::module("test.gone").error("into the void"); // a SIGPIPE would end the test here
    close(ends[1]);
    SUCCEED();
}

TEST(Logging, NamingModulesNarrowsInfoAndDebugOnly)
{
    LogCapture log;
    auto& named = logging::module("test.named");
    auto& other = logging::module("test.other");
    EXPECT_TRUE(other.wants(Level::DEBUG));
    logging::enable("test.named", true);
    logging::enable("test.later", true);
    EXPECT_TRUE(named.wants(Level::DEBUG) && logging::module("test.later").wants(Level::INFO));
    EXPECT_FALSE(other.wants(Level::INFO) || logging::module("test.newer").wants(Level::DEBUG));
    EXPECT_TRUE(other.wants(Level::NOTICE));
    logging::enable_all();
    EXPECT_TRUE(other.wants(Level::DEBUG));

    logging::configure_logging("error");
    EXPECT_FALSE(named.wants(Level::WARNING));
    logging::configure_logging("warning");
    logging::configure_logging("chatty");
    EXPECT_EQ(logging::get_log_level(), Level::WARNING);
    EXPECT_TRUE(log.contains(Level::WARNING, "'chatty'")) << log;
}

TEST(Logging, ASignalThatInterruptsTheWriterIsLoggedAfterwardsInOrder)
{
    static auto& logger = logging::module("test.signal");
    static std::vector<std::string> written;
    written.clear();
    std::signal(SIGUSR1, [](int) {
        logger.defer(Level::ERROR, "first");
        logger.defer(Level::ERROR, "second");
    });
    // The tap runs with the writer's lock held: a handler that took it would never come back.
    logging::set_tap(
        [](void*, Level, const std::string&, const std::string& text) {
            written.push_back(text);
            if (text == "interrupted") {
                std::raise(SIGUSR1);
            }
        },
        nullptr);
    logger.error("interrupted");
    EXPECT_THAT(written, testing::ElementsAre("interrupted"));
    logger.error("next");
    EXPECT_THAT(written, testing::ElementsAre("interrupted", "first", "second", "next"));

    written.clear();
    for (int record = 0; record < 40; ++record) {
        logger.defer(Level::ERROR, "flood");
    }
    logging::write_deferred();
    EXPECT_EQ(written.size(), 33U);
    EXPECT_EQ(written.back(), "8 records of signal handlers were lost");
    logging::set_tap(nullptr, nullptr);
    std::signal(SIGUSR1, SIG_DFL);
}

} // namespace
