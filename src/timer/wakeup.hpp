#pragma once

#include <atomic>

/// Ends pauses early: a pause that looks at it (`Clock::sleep_for`) ends when it is woken, and does not begin
/// while it is. One thread pauses and resets; any thread, and a signal handler, wakes.
class Wakeup {
public:
    Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;
    ~Wakeup();

    /// Async-signal-safe.
    void wake() noexcept;
    bool is_woken() const noexcept { return woken_.load(); }
    /// Pauses count again.
    void reset() noexcept;

    /// Readable while woken; -1 when the system had no descriptor for it, and pauses must look themselves.
    int fd() const noexcept { return fd_; }

private:
    int fd_; // eventfd(2)
    std::atomic<bool> woken_{false};
};
