#include "snapshot_observer.hpp"

#include "freshness.hpp"

#include <ecu/kova/date_time.hpp>

namespace celldctl {

namespace com = ecu::kova::com;

void SnapshotObserver::message(const std::string& topic, const com::Message& message)
{
    const threads::MutexLock lock(mutex_);
    snapshot_.take(topic, message);
    newest_ = Clock::now();
    const auto& status = snapshot_.status.value;
    if (wanted_ && topic == STATUS_TOPIC && status.has_state() && status.state() == *wanted_) {
        reached_ = reached_ || is_current(message, now_of(sender_is_local_));
    }
}

Snapshot SnapshotObserver::snapshot() const
{
    const threads::MutexLock lock(mutex_);
    return snapshot_;
}

bool SnapshotObserver::complete() const
{
    const threads::MutexLock lock(mutex_);
    return snapshot_.complete();
}

bool SnapshotObserver::reached() const
{
    const threads::MutexLock lock(mutex_);
    return reached_;
}

SnapshotObserver::Clock::time_point SnapshotObserver::newest() const
{
    const threads::MutexLock lock(mutex_);
    return newest_;
}

std::optional<std::int64_t> now_of(bool sender_is_local)
{
    return sender_is_local ? std::optional(ecu::kova::DateTime::time_since_boot_ns()) : std::nullopt;
}

void observe(BusLink& link, const std::shared_ptr<SnapshotObserver>& observer)
{
    for (const auto* const topic : SNAPSHOT_TOPICS) {
        link.subscribe(topic, observer);
    }
}

} // namespace celldctl
