#pragma once

#include "timer/wakeup.hpp"

#include <atomic>

/// What other threads want of the main thread: the signal handler a stop, the bus radio silence, and what the
/// bus says of the backend. A stop and radio silence also end the pause that is under way.
class Orders {
public:
    /// Async-signal-safe. Never taken back: a stop that comes before a run counts for it.
    void stop() noexcept;
    bool stop_wanted() const noexcept { return stop_.load(); }

    /// Any thread. True when that is news.
    bool radio_silence(bool on);
    bool silence_wanted() const { return silence_.load(); }

    /// Any thread. True when that is news.
    bool backend_connected(bool connected) { return backend_.exchange(connected) != connected; }
    bool backend_connected() const { return backend_.load(); }

    /// Main thread, where it looks at the above: from here on pauses last again.
    void heed();

    Wakeup& wakeup() { return wakeup_; }

private:
    Wakeup wakeup_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> silence_{false};
    std::atomic<bool> backend_{false};
    std::atomic<bool> unheeded_{false}; // set behind the order and the wake-up, so that neither is missed
};
