#include "timer/clock.hpp"

#include "timer/wakeup.hpp"
#include "timer/wall_clock.hpp"

#include <algorithm>
#include <poll.h>
#include <thread>

namespace {

// How long a pause goes without looking when the wake-up has no descriptor to wait for.
constexpr std::chrono::milliseconds LOOK_INTERVAL{200};

} // namespace

SystemClock& SystemClock::instance()
{
    static SystemClock clock;
    return clock;
}

Clock::time_point SystemClock::now() const
{
    return std::chrono::steady_clock::now();
}

std::chrono::system_clock::time_point SystemClock::wall_now() const
{
    return timer::wall_now();
}

void SystemClock::sleep_for(std::chrono::milliseconds pause)
{
    std::this_thread::sleep_for(pause);
}

void SystemClock::sleep_for(std::chrono::milliseconds pause, const Wakeup& wakeup)
{
    const auto deadline = now() + pause;
    for (auto left = pause; left.count() > 0 && !wakeup.is_woken();
         left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now())) {
        pollfd line{wakeup.fd(), POLLIN, 0};
        const auto slice = wakeup.fd() == -1 ? std::min(left, LOOK_INTERVAL) : left;
        if (::poll(&line, 1, static_cast<int>(slice.count())) > 0) { // a signal only makes it look again
            return;
        }
    }
}

bool SystemClock::wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                             time_point deadline)
{
    return condition.wait_until(held, deadline) == std::cv_status::no_timeout;
}
