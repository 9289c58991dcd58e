#pragma once

#include "threads/mutex.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace celldctl {

/// One message as it came.
struct Heard {
    std::chrono::system_clock::time_point when;
    std::string topic;
    ecu::kova::com::Message message;
};

/// Takes messages off the client's thread, so that whoever shows them may take its time. It has a bound: what
/// comes when it is full is counted and dropped. `message` on the client's thread, the rest on any other.
class Feed final : public ecu::kova::com::ISubscriptionObserver {
public:
    void message(const std::string& topic, const ecu::kova::com::Message& message) override;

    std::optional<Heard> next();
    /// How many were dropped since the last such question.
    std::uint64_t take_dropped();

private:
    mutable threads::Mutex mutex_;
    std::deque<Heard> heard_ THREADS_GUARDED_BY(mutex_);
    std::size_t bytes_ THREADS_GUARDED_BY(mutex_) = 0;
    std::uint64_t dropped_ THREADS_GUARDED_BY(mutex_) = 0;
};

} // namespace celldctl
