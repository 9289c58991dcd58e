#pragma once

#include "at/at_tty_port.hpp"
#include "timer/wakeup.hpp"

#include <atomic>

/// What other threads want of the main thread: the signal handler a stop, the bus radio silence, and what the
/// bus says of the backend. A stop and radio silence overtake what the main thread is at: the pause that is
/// under way ends, and so does the wait for the module's answer.
class Orders {
public:
    explicit Orders(AtTtyPort& port) : port_(port) {}

    /// Async-signal-safe. Never taken back: a stop that comes before a run counts for it.
    void stop() noexcept;
    bool stop_wanted() const noexcept { return stop_.load(); }

    /// Any thread. True when that is news.
    bool radio_silence(bool on);
    bool silence_wanted() const { return silence_.load(); }

    /// Any thread. True when that is news.
    bool backend_connected(bool connected) { return backend_.exchange(connected) != connected; }
    bool backend_connected() const { return backend_.load(); }

    /// Main thread, before it looks at the above: from here on pauses last and answers are waited for again,
    /// unless a stop is wanted.
    void heed();

    Wakeup& wakeup() { return wakeup_; }

private:
    void overtake() noexcept;

    AtTtyPort& port_;
    Wakeup wakeup_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> silence_{false};
    std::atomic<bool> backend_{false};
    std::atomic<bool> unheeded_{false}; // set behind the order and the wake-up, so that neither is missed
};
