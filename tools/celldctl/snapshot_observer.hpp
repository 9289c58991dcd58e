#pragma once

#include "session.hpp"
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

    explicit SnapshotObserver(std::optional<ModemState> wanted = std::nullopt) : wanted_(wanted) {}

    void message(const std::string& topic, const ecu::kova::com::Message& message) override;

    Snapshot snapshot() const;
    bool complete() const;
    /// A status with the wanted state has come.
    bool reached() const;
    /// When the newest message came; the clock's epoch before the first.
    Clock::time_point newest() const;

private:
    const std::optional<ModemState> wanted_;
    mutable threads::Mutex mutex_;
    Snapshot snapshot_ THREADS_GUARDED_BY(mutex_);
    bool reached_ THREADS_GUARDED_BY(mutex_) = false;
    Clock::time_point newest_ THREADS_GUARDED_BY(mutex_);
};

/// Subscribes to each of the snapshot's topics; null (told on standard error) when that is refused.
std::shared_ptr<ecu::kova::com::ITransportClient> observe(const Session& session,
                                                          const std::shared_ptr<SnapshotObserver>& observer);

} // namespace celldctl
