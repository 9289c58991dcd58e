#include "base/event_loop.hpp"

#include "base/files.hpp"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <vector>

namespace bench {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds LONGEST_POLL{60'000}; ///< keeps the time-out within poll's int

} // namespace

EventLoop::EventLoop() : timers_(steady_clock::now()) {}

void EventLoop::watch(int fd, short events, Callback callback)
{
    watches_.insert_or_assign(fd, Watch{events, std::move(callback)});
}

void EventLoop::unwatch(int fd)
{
    watches_.erase(fd);
}

void EventLoop::run()
{
    running_ = true;
    while (running_) {
        poll_once();
        timers_.advance_to(steady_clock::now());
    }
}

int EventLoop::poll_timeout_ms() const
{
    auto pause = LONGEST_POLL;
    if (const auto deadline = timers_.next_deadline()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - steady_clock::now());
        pause = std::clamp(left, std::chrono::milliseconds{0}, LONGEST_POLL);
    }
    return static_cast<int>(pause.count());
}

void EventLoop::poll_once()
{
    std::vector<pollfd> polled;
    polled.reserve(watches_.size());
    for (const auto& [fd, watch] : watches_) {
        polled.push_back({fd, watch.events, 0});
    }
    if (::poll(polled.data(), polled.size(), poll_timeout_ms()) < 0) {
        if (errno == EINTR) {
            return;
        }
        throw_errno("poll failed");
    }
    timers_.advance_to(
        steady_clock::now()); // what a callback starts now counts from now, not from the last pass
    for (const auto& entry : polled) {
        const auto found = watches_.find(entry.fd);
        if (entry.revents == 0 || found == watches_.end()) {
            continue; // an earlier callback of this pass may have ended this watch
        }
        const auto callback = found->second.callback; // the callback may replace or end its own watch
        callback(entry.revents);
    }
}

} // namespace bench
