#pragma once

#include "bus_link.hpp"
#include "events.hpp"
#include "fleet/fleet_model.hpp"
#include "threads/mutex.hpp"

#include <memory>
#include <vector>

namespace celldctl {

/// The model, fed on the client's thread: a flood is held back there, and not kept here. Any thread.
class FleetObserver final : public ecu::kova::com::ISubscriptionObserver {
public:
    void message(const std::string& topic, const ecu::kova::com::Message& message) override;

    void connection(bool connected, FleetTime now);
    void advance(FleetTime now);
    FleetModel model() const; ///< as it is now, without its news
    std::vector<FleetNews> take_news();
    FleetModel::Left left_out() const;
    /// When the last message came that the broker had retained.
    FleetTime last_retained() const;

private:
    mutable threads::Mutex mutex_;
    FleetModel model_ THREADS_GUARDED_BY(mutex_);
    FleetTime last_retained_ THREADS_GUARDED_BY(mutex_);
};

/// All units by way of the central broker. Main thread only, save the observer and whether there is a
/// connection.
class FleetBus {
public:
    /// Throws Failure for a configuration that cannot be used.
    explicit FleetBus(const BrokerOptions& broker);

    const BusLink& link() const { return link_; }
    /// For ten seconds, or as long as is given. Throws Failure.
    void wait_for_first_connection(Signals& signals, std::optional<std::chrono::seconds> timeout);
    /// Looks at the connection and lets time pass; what became of the connection once there was one.
    std::optional<Event> look(FleetTime now);

    FleetObserver& observer() { return *observer_; }
    const FleetObserver& observer() const { return *observer_; }

private:
    Event connection_news(bool connected) const;

    const std::shared_ptr<FleetObserver> observer_ = std::make_shared<FleetObserver>();
    BusLink link_;
    std::optional<bool> connected_; // nothing before the first connection
    FleetTime advanced_;
};

} // namespace celldctl
