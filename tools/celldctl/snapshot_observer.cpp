#include "snapshot_observer.hpp"

#include "freshness.hpp"

#include <ecu/kova/date_time.hpp>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
namespace com = ecu::kova::com;

constexpr auto LOOK_AGAIN = 20ms;
constexpr auto QUIET = 500ms; // after it the broker has nothing more that it retained

} // namespace

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
    if (link.is_of_a_fleet()) {
        link.subscribe(BRIDGE_TOPIC, observer);
    }
}

Snapshot snapshot_of(Session& session, BusLink& link, std::chrono::seconds timeout)
{
    using Clock = SnapshotObserver::Clock;
    const auto observer = std::make_shared<SnapshotObserver>(link.is_local());
    observe(link, observer);
    const auto begin = Clock::now();
    while (!observer->complete()) {
        const auto now = Clock::now();
        if (now - std::max(begin, observer->newest()) >= QUIET || now - begin >= timeout) {
            break;
        }
        if (session.signals.wait(LOOK_AGAIN)) {
            throw Failure(BY_SIGNAL + session.signals.ending(), "");
        }
    }
    if (!observer->complete() && !link.is_connected()) {
        throw link.no_connection();
    }
    return observer->snapshot();
}

} // namespace celldctl
