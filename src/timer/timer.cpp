#include "timer/timer.hpp"

#include <ecu/kova/logging.hpp>

#include <chrono>
#include <system_error>
#include <utility>

namespace {
const auto& timer_log = ecu::kova::logging::module("celld.timer");
} // namespace

Timer::Timer(Clock& clock) : clock_(clock) {}

Timer::Timer(std::function<void()> callback, Clock& clock) : clock_(clock), callback_(std::move(callback)) {}

Timer::Timer(std::function<void()> callback, unsigned int seconds, Clock& clock)
    : clock_(clock), callback_(std::move(callback)), duration_(seconds)
{
}

Timer::~Timer()
{
    stop();
}

bool Timer::start()
{
    return start(duration_);
}

bool Timer::start(unsigned int seconds)
{
    if (!launch(callback_, seconds)) {
        return false;
    }
    timer_log.debug("Timer started");
    return true;
}

bool Timer::start(std::function<void()> callback, unsigned int seconds)
{
    stop();
    if (!launch(std::move(callback), seconds)) {
        return false;
    }
    timer_log.debug("Timer started with duration ", seconds);
    return true;
}

bool Timer::launch(std::function<void()> callback, unsigned int seconds)
{
    if (seconds == 0) {
        timer_log.error("Unable to start timer with duration 0");
        return false;
    }
    if (!callback) {
        timer_log.error("No timer callback set, unable to start timer");
        return false;
    }
    active_ = true;
    try {
        thread_ = std::thread([this, seconds, call = std::move(callback)] { executing(seconds, call); });
    } catch (const std::system_error& error) {
        active_ = false;
        timer_log.error("Unable to start the timer's thread: ", error.what());
        return false;
    }
    return true;
}

void Timer::executing(unsigned int seconds, const std::function<void()>& callback)
{
    timer_log.debug("Timer executing");
    threads::MutexLock held(mutex_);
    const auto deadline = clock_.now() + std::chrono::seconds(seconds);
    waiting_ = true;
    (void)clock_.wait_until(cond_, held.standard(),
                            deadline); // once: the clock tells below whether this was the end or a stop
    waiting_ = false;
    active_ = false;
    if (clock_.now() < deadline) {
        timer_log.debug("Timer stopped on command");
        return;
    }
    timer_log.debug("Timer duration passed, handling starting");
    callback();
}

void Timer::stop()
{
    timer_log.debug(active() ? "Stopping active timer" : "Timer not active ");
    cond_.notify_all(); // without the mutex, which a callback may hold for long; see the header for what that
                        // loses
    active_ = false;
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool Timer::active() const
{
    return active_;
}

bool Timer::waiting() const
{
    const threads::MutexLock held(mutex_);
    return waiting_;
}
