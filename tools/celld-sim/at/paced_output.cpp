#include "at/paced_output.hpp"

#include <utility>

namespace bench {

void PacedOutput::write(std::string_view bytes)
{
    if (pause_.count() == 0 && waiting_.empty()) {
        send_(bytes);
        return;
    }
    const bool idle = waiting_.empty();
    waiting_ += bytes;
    if (idle && !waiting_.empty()) {
        step();
    }
}

void PacedOutput::when_out(std::function<void()> callback)
{
    if (waiting_.empty()) {
        pause_ = {};
        callback();
    } else {
        when_out_ = std::move(callback);
        before_it_ = waiting_.size();
    }
}

void PacedOutput::reset()
{
    timers_.cancel(timer_);
    waiting_.clear();
    when_out_ = nullptr;
    pause_ = {};
}

/// With the last byte of an answer it is out: whoever has read it may write the next command at once,
/// whatever waits behind it.
void PacedOutput::step()
{
    const char next = waiting_.front();
    waiting_.erase(0, 1);
    send_({&next, 1});
    if (waiting_.empty()) {
        pause_ = {};
    } else {
        timer_ = timers_.after(pause_, [this] { step(); });
    }
    if (when_out_ && --before_it_ == 0) {
        std::exchange(when_out_, nullptr)();
    }
}

} // namespace bench
