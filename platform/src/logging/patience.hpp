#pragma once

#include <cerrno>
#include <chrono>
#include <poll.h>

namespace ecu::kova::logging {

/// How long one record may wait for its reader, all in all. One thread, for one record.
class Patience {
public:
    /// A reader that has let the last record wait in vain is not waited for again until it reads.
    explicit Patience(bool stalled)
        : deadline_(std::chrono::steady_clock::now() +
                    (stalled ? std::chrono::milliseconds(0) : STALLED_READER))
    {
    }

    /// False when the descriptor takes nothing in time. True for one that is broken: the write will say so.
    bool wait_writable(int descriptor) const
    {
        pollfd wanted{descriptor, POLLOUT, 0};
        int ready = 0;
        do {
            ready = poll(&wanted, 1, remaining_ms());
        } while (ready < 0 && errno == EINTR && remaining_ms() > 0);
        return ready > 0;
    }

    /// Whether a write that failed with `error` is worth another try.
    bool again(int error) const
    {
        if ((error != EINTR && error != EAGAIN && error != EWOULDBLOCK) || remaining_ms() == 0) {
            return false;
        }
        static_cast<void>(poll(nullptr, 0, BREATH_MS)); // writable, yet not for this much
        return true;
    }

private:
    static constexpr std::chrono::milliseconds STALLED_READER{100};
    static constexpr int BREATH_MS = 1;

    int remaining_ms() const
    {
        const auto remaining =
            std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
        return remaining.count() > 0 ? static_cast<int>(remaining.count()) : 0;
    }

    std::chrono::steady_clock::time_point deadline_;
};

} // namespace ecu::kova::logging
