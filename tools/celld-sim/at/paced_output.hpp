#pragma once

#include "base/timer_queue.hpp"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace bench {

/// What the module says, on its way to the port: at once, or byte by byte with a pause behind each. The order
/// is kept: what comes while bytes wait, waits behind them.
class PacedOutput {
public:
    PacedOutput(TimerQueue& timers, std::function<void(std::string_view)> send)
        : timers_(timers), send_(std::move(send))
    {
    }
    ~PacedOutput() { timers_.cancel(timer_); }
    PacedOutput(const PacedOutput&) = delete;
    PacedOutput& operator=(const PacedOutput&) = delete;

    void write(std::string_view bytes);

    /// Byte by byte from now on until the output is empty.
    void pace(std::chrono::milliseconds pause) { pause_ = pause; }

    /// Calls back once, when all that was written before is out: at once if nothing waits.
    void when_out(std::function<void()> callback);

    /// Forgets what waits.
    void reset();

private:
    void step();

    TimerQueue& timers_;
    std::function<void(std::string_view)> send_;
    std::function<void()> when_out_;
    std::size_t before_it_ = 0; // bytes that wait in front of `when_out_`
    std::string waiting_;
    std::chrono::milliseconds pause_{0};
    TimerQueue::Id timer_ = 0;
};

} // namespace bench
