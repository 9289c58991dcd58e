#pragma once

#include <chrono>
#include <csignal>

namespace celldctl {

/// Signals as something to wait for. They are blocked: make it before any thread. Main thread only.
class Signals {
public:
    /// SIGINT, SIGTERM and SIGHUP, which end the program.
    Signals();

    /// Takes one more, which does not.
    void also(int number);
    /// The first that comes within `timeout`, 0 when none does. One that ends the program stays.
    int next(std::chrono::milliseconds timeout);
    /// True as soon as one that ends the program has arrived, false after `timeout`.
    bool wait(std::chrono::milliseconds timeout);
    /// Its number, 0 before.
    int ending() const { return ending_; }

private:
    sigset_t set_{};
    int ending_ = 0;
};

} // namespace celldctl
