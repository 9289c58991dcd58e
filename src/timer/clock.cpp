#include "timer/clock.hpp"

#include <thread>

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
    return std::chrono::system_clock::now();
}

void SystemClock::sleep_for(std::chrono::milliseconds pause)
{
    std::this_thread::sleep_for(pause);
}

bool SystemClock::wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                             time_point deadline)
{
    return condition.wait_until(held, deadline) == std::cv_status::no_timeout;
}
