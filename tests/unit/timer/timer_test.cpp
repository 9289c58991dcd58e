#include "support/manual_clock.hpp"
#include "timer/timer.hpp"
#include "timer/wakeable_clock.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <sys/resource.h>

namespace {

using namespace std::chrono_literals;

TEST(TimerTest, FiresOnceAtItsTimeUnlessItIsStoppedAndCanBeStartedAgain)
{
    ManualClock clock;
    std::atomic<int> fired{0};
    const auto count = [&] { ++fired; };
    Timer timer(count, 5, clock);
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(round == 1 ? timer.start() : timer.start(count, 5));
        ASSERT_TRUE(clock.await_waiters(1));
        EXPECT_TRUE(timer.waiting());
        clock.advance(4999ms);
        EXPECT_TRUE(timer.active());
        EXPECT_EQ(fired, round - 1);
        clock.advance(1ms);
        EXPECT_EQ(fired, round);
        EXPECT_FALSE(timer.active());
        EXPECT_FALSE(timer.waiting());
    }
    ASSERT_TRUE(timer.start(count, 5));
    ASSERT_TRUE(clock.await_waiters(1));
    timer.stop();
    EXPECT_FALSE(timer.start(count, 0) || timer.start(nullptr, 1));
    clock.advance(1h);
    EXPECT_EQ(fired, 2);
}

// With a descriptor to wait for and without one. A pause of an hour that does not end keeps the test from
// ending.
TEST(Wakeup, EndsPausesUntilItIsReset)
{
    const int closed = Wakeup().fd();
    EXPECT_EQ(::fcntl(closed, F_GETFD), -1);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    for (const bool has_descriptor : {true, false}) {
        const rlimit now{has_descriptor ? limit.rlim_cur : 0, limit.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &now), 0);
        Wakeup wakeup;
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        ASSERT_EQ(wakeup.fd() != -1, has_descriptor);
        WakeableClock clock(SystemClock::instance(), wakeup);
        for (int round = 0; round < 2; ++round) {
            EXPECT_FALSE(wakeup.is_woken());
            auto pausing = std::async(std::launch::async, [&] { clock.sleep_for(1h); });
            errno = ENOENT;
            wakeup.wake();
            EXPECT_EQ(errno, ENOENT);
            pausing.get();
            clock.sleep_for(1h, wakeup); // does not even begin
            EXPECT_TRUE(wakeup.is_woken());
            wakeup.reset();
            pollfd line{wakeup.fd(), POLLIN, 0};
            EXPECT_EQ(::poll(&line, 1, 0), 0);
        }
    }
}

TEST(WakeableClock, IsTheInnerClockButForItsPauses)
{
    ManualClock inner;
    Wakeup wakeup;
    WakeableClock clock(inner, wakeup);
    inner.at(250ms, [&] { wakeup.wake(); });
    const auto begin = clock.now();
    clock.sleep_for(1h);
    EXPECT_EQ(clock.now() - begin, 300ms); // in its steps
    EXPECT_EQ(clock.wall_now(), inner.wall_now());
    clock.sleep_for(1s, Wakeup());
    EXPECT_EQ(inner.now() - begin, 1300ms);
}

} // namespace
