#pragma once

#include "bus_link.hpp"
#include "snapshot.hpp"
#include "threads/mutex.hpp"

#include <chrono>
#include <memory>
#include <optional>

namespace celldctl {

using ModemState = ecu::kova::pb::ModemStatus::ModemState;

/// Keeps the newest snapshot of the bus, and sees a wanted state even when it lasts for one message only.
/// `message` comes on the client's thread, the rest may be called from any.
class SnapshotObserver final : public ecu::kova::com::ISubscriptionObserver {
public:
    using Clock = std::chrono::steady_clock;

    /// `sender_is_local`: the time stamps of the messages are of this host's clock.
    explicit SnapshotObserver(bool sender_is_local, std::optional<ModemState> wanted = std::nullopt)
        : sender_is_local_(sender_is_local), wanted_(wanted)
    {
    }

    void message(const std::string& topic, const ecu::kova::com::Message& message) override;

    Snapshot snapshot() const;
    bool complete() const;
    /// A status with the wanted state has come that tells of now: what a daemon has left that is long gone
    /// does not count.
    bool reached() const;
    /// When the newest message came; the clock's epoch before the first.
    Clock::time_point newest() const;

private:
    const bool sender_is_local_;
    const std::optional<ModemState> wanted_;
    mutable threads::Mutex mutex_;
    Snapshot snapshot_ THREADS_GUARDED_BY(mutex_);
    bool reached_ THREADS_GUARDED_BY(mutex_) = false;
    Clock::time_point newest_ THREADS_GUARDED_BY(mutex_);
};

/// This host's time since boot where the sender's time stamps are of the same clock.
std::optional<std::int64_t> now_of(bool sender_is_local);

/// What the broker retains: has an end when all of it has come, when nothing came for a while, or when the
/// time is over. Throws Failure for a signal, and when the connection is gone by then. Main thread.
Snapshot snapshot_of(Session& session, BusLink& link, std::chrono::seconds timeout);

/// Subscribes to each of the snapshot's topics. Throws Failure.
void observe(BusLink& link, const std::shared_ptr<SnapshotObserver>& observer);

} // namespace celldctl
