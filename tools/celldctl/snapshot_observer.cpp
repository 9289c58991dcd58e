#include "snapshot_observer.hpp"

namespace celldctl {

namespace com = ecu::kova::com;

void SnapshotObserver::message(const std::string& topic, const com::Message& message)
{
    const threads::MutexLock lock(mutex_);
    snapshot_.take(topic, message);
    newest_ = Clock::now();
    const auto& status = snapshot_.status.value;
    reached_ = reached_ || (wanted_ && status.has_state() && status.state() == *wanted_);
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

std::shared_ptr<com::ITransportClient> observe(const Session& session,
                                               const std::shared_ptr<SnapshotObserver>& observer)
{
    auto client = session.connect_in_background();
    for (const auto* const topic : SNAPSHOT_TOPICS) {
        if (!client->subscribe(topic, observer)) {
            complain(std::string("cannot subscribe to ") + topic);
            return nullptr;
        }
    }
    return client;
}

} // namespace celldctl
