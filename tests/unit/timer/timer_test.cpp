#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "timer/timer.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace {

using namespace std::chrono_literals;

class TimerTest : public testing::Test {
protected:
    LogCapture log;
    ManualClock clock;
    std::atomic<int> fired{0};
    std::function<void()> count = [this] { ++fired; };
};

TEST_F(TimerTest, FiresOnceAtItsTimeAndCanBeStartedAgain)
{
    Timer timer(clock);
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(timer.start(count, 5));
        ASSERT_TRUE(clock.await_waiters(1));
        clock.advance(4999ms);
        EXPECT_TRUE(timer.active());
        EXPECT_EQ(fired, round - 1);
        clock.advance(1ms);
        EXPECT_EQ(fired, round);
        EXPECT_FALSE(timer.active());
        EXPECT_FALSE(timer.waiting());
    }
}

TEST_F(TimerTest, StoppedWhileWaitingItNeverFires)
{
    Timer timer(count, 5, clock);
    ASSERT_TRUE(timer.start());
    while (!timer.waiting()) {
        std::this_thread::yield();
    }
    timer.stop();
    clock.advance(1h);
    EXPECT_EQ(fired, 0);
    EXPECT_FALSE(timer.active());
    EXPECT_TRUE(log.contains(LogCapture::Level::DEBUG, "Timer stopped on command")) << log;
}

TEST_F(TimerTest, RefusesNoDurationAndNoCallback)
{
    Timer timer(count, clock);
    EXPECT_FALSE(timer.start());
    EXPECT_FALSE(timer.start(count, 0));
    EXPECT_FALSE(timer.start(nullptr, 1));
    EXPECT_FALSE(timer.active());
    EXPECT_EQ(log.count("Unable to start timer with duration 0"), 2U) << log;
    EXPECT_EQ(log.count("No timer callback set, unable to start timer"), 1U) << log;
}

TEST_F(TimerTest, KeepsRealTime)
{
    Timer timer;
    std::promise<void> rang;
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(timer.start([&] { rang.set_value(); }, 1));
    rang.get_future().get();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 1s);
}

} // namespace
