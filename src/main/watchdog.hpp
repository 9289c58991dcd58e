#pragma once

#include "timer/clock.hpp"

#include <chrono>
#include <optional>
#include <thread>

/// Shows the service manager that the loop goes on, where it wants to know: "WATCHDOG=1" of sd_notify(3),
/// wanted by WATCHDOG_USEC and WATCHDOG_PID as sd_watchdog_enabled(3) has them. Wakes nobody: it is told
/// whenever a pass begins and a command is over, and then tells, once in a quarter of the manager's time.
///
/// So a wait that never ends is noticed after the manager's time, and a pass that never ends, however much it
/// asks of the module, after `LONGEST_PASS` more. Logs on "celld.main".
class Watchdog {
public:
    /// Nothing in a pass waits longer without a command that is over: 300 s for "+UNFM" and 30 for the turn,
    /// or 30 vain probes of the port at up to eleven seconds each; and a quarter of itself is lost to the
    /// telling.
    static constexpr std::chrono::seconds LEAST_INTERVAL{500};
    /// A SIM selected twice, each time with radio off and on at 180 s, is the most of what is meant: 25
    /// minutes.
    static constexpr std::chrono::hours LONGEST_PASS{1};

    /// On the loop's thread, before the loop. What the environment says that cannot be, or that is shorter
    /// than a command may take, is a WARNING.
    explicit Watchdog(const Clock& clock = SystemClock::instance());

    /// On the loop's thread.
    void pass_begins();
    /// Any thread; only what the loop's has waited for counts.
    void command_over();

private:
    void tell();

    const Clock& clock_;
    const std::thread::id loop_ = std::this_thread::get_id();
    std::chrono::microseconds interval_; // the manager's; 0: it does not want to know
    Clock::time_point pass_began_;
    std::optional<Clock::time_point> told_;
};
