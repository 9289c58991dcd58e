#pragma once

#include "timer/timer.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

/// Gives the backend a time within which it must report a connection. Driven by the main thread; the timer's
/// thread only sets the expired flag.
class BackendWatch {
public:
    /// `connected` is asked on the timer's thread, for as long as the watch lives.
    BackendWatch(std::function<bool()> connected, Clock& clock);
    ~BackendWatch() { stop(); }
    BackendWatch(const BackendWatch&) = delete;
    BackendWatch& operator=(const BackendWatch&) = delete;

    bool active() const { return timer_.active(); }
    /// Sets the expired flag, with a WARNING, when the backend is still not connected after that time.
    /// Returns once the timer's thread waits, so that the time counts from here.
    void start(std::uint32_t minutes);
    /// Never waits for the duration, even behind a start.
    void stop();

    /// The expired flag, cleared by the question.
    bool take_expired() { return expired_.exchange(false); }

private:
    std::function<bool()> connected_;
    std::atomic<bool> expired_{false};
    Timer timer_;
};
