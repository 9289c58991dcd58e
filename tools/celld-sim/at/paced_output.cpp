#include "at/paced_output.hpp"

#include <utility>

namespace bench {

void PacedOutput::write(std::string_view bytes)
{
    if (pause_.count() == 0) {
        send_(bytes);
        return;
    }
    const bool idle = waiting_.empty();
    waiting_ += bytes;
    if (idle && !waiting_.empty()) {
        step();
    }
}

void PacedOutput::when_empty(std::function<void()> callback)
{
    if (waiting_.empty()) {
        pause_ = {};
        callback();
    } else {
        when_empty_ = std::move(callback);
    }
}

void PacedOutput::reset()
{
    timers_.cancel(timer_);
    waiting_.clear();
    when_empty_ = nullptr;
    pause_ = {};
}

/// With the last byte all is out: whoever has read it may write the next command at once.
void PacedOutput::step()
{
    const char next = waiting_.front();
    waiting_.erase(0, 1);
    send_({&next, 1});
    if (!waiting_.empty()) {
        timer_ = timers_.after(pause_, [this] { step(); });
        return;
    }
    pause_ = {};
    if (const auto callback = std::exchange(when_empty_, nullptr)) {
        callback();
    }
}

} // namespace bench
