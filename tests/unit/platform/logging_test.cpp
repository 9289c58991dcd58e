#include "support/log_capture.hpp"

#include <ecu/kova/log_tap.hpp>
#include <ecu/kova/logging.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

using namespace ecu::kova;
using logging::Level;

/// A standard stream as a file that the test reads.
class StreamFile {
public:
    explicit StreamFile(int descriptor = STDERR_FILENO, logging::LogMode mode = logging::LogMode::STDERR)
        : file_(std::tmpfile()), descriptor_(descriptor), before_(dup(descriptor))
    {
        std::fflush(nullptr);
        dup2(fileno(file_), descriptor);
        logging::set_log_mode(mode);
    }
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;
    ~StreamFile()
    {
        logging::set_log_mode(logging::LogMode::SYSLOG);
        dup2(before_, descriptor_);
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
    int descriptor_;
    int before_;
};

TEST(Logging, ARecordOnAStreamIsOneLineThatNoForeignByteCanForge)
{
    for (const auto& [descriptor, mode] :
         {std::pair{STDERR_FILENO, logging::LogMode::STDERR}, {STDOUT_FILENO, logging::LogMode::STDOUT}}) {
        const StreamFile log(descriptor, mode);
        auto& logger = logging::module("test.stream");
        logger.defer(Level::ALERT, "kept");
        logger.defer(Level::INFO, "not wanted");
        logger.notice("answer ", 42, ": ", std::string("\0\x1f ~\x7f\x80\xff", 7), "\nsecond line");
        const std::string now = "20..-..-..T..:..:..\\....Z ";
        EXPECT_THAT(log.text(), testing::MatchesRegex(now + "ALERT test.stream: kept\n" + now +
                                                      "NOTICE test.stream: answer 42: \\\\x00\\\\x1F ~"
                                                      "\\\\x7F\\\\x80\\\\xFF\nsecond line\n"));
    }
}

TEST(Logging, AReaderThatHasGoneRaisesNoSignalAndHidesNone)
{
    const StreamFile guard;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    const auto held_and_pending = [] {
        sigset_t held{};
        sigset_t pending{};
        pthread_sigmask(SIG_BLOCK, nullptr, &held);
        sigpending(&pending);
        return std::pair(sigismember(&held, SIGPIPE), sigismember(&pending, SIGPIPE));
    };
    logging::module("test.gone").error("into the void"); // a SIGPIPE would end the test here
    EXPECT_EQ(held_and_pending(), std::pair(0, 0));
    sigset_t sigpipe{};
    sigaddset(&sigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe, nullptr);
    std::raise(SIGPIPE); // the program's own
    logging::module("test.gone").error("into the void");
    EXPECT_EQ(held_and_pending(), std::pair(1, 1));
    const timespec at_once{};
    sigtimedwait(&sigpipe, nullptr, &at_once);
    pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
}

TEST(Logging, NamingModulesNarrowsInfoAndDebugOnly)
{
    LogCapture log;
    logging::enable("later", true); // than this: they are not there yet
    EXPECT_TRUE(logging::module("later").wants(Level::INFO));
    EXPECT_FALSE(logging::module("newer").wants(Level::INFO));
    const auto wanting = [](Level level) {
        std::string names;
        for (const char* name : {"a", "b", "c"}) {
            names += logging::module(name).wants(level) ? name : "";
        }
        return names;
    };
    using Case = std::tuple<const char*, bool, const char*>; // without a name: all
    for (const auto& [name, enabled, expected] : {Case{nullptr, true, "abc"},
                                                  {"b", false, "ac"},
                                                  {"a", true, "a"},
                                                  {"b", true, "ab"},
                                                  {"a", false, "b"},
                                                  {nullptr, true, "abc"},
                                                  {"c", true, "c"}}) {
        name == nullptr ? logging::enable_all() : logging::enable(name, enabled);
        EXPECT_EQ(wanting(Level::INFO), expected);
        EXPECT_EQ(wanting(Level::DEBUG), expected);
        EXPECT_EQ(wanting(Level::NOTICE), "abc");
    }
    logging::enable_all();
    logging::configure_logging("error");
    EXPECT_EQ(wanting(Level::WARNING), "");
    logging::configure_logging("warning");
    logging::configure_logging("chatty");
    EXPECT_EQ(logging::get_log_level(), Level::WARNING);
    EXPECT_TRUE(log.contains(Level::WARNING, "Unknown log level 'chatty', keeping WARNING")) << log;
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
        [](void*, Level level, const std::string& module, const std::string& text) {
            EXPECT_TRUE(text.ends_with("lost") || (level == Level::ERROR && module == "test.signal"));
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
