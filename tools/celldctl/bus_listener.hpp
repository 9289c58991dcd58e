#pragma once

#include "bus_link.hpp"
#include "events.hpp"

namespace celldctl {

/// Hears all that celld and the backend say, and what becomes of the connection. Main thread only.
class BusListener {
public:
    /// Throws Failure for a configuration that cannot be used.
    explicit BusListener(const BrokerOptions& broker);

    BusLink& link() { return link_; }
    const BusLink& link() const { return link_; }
    /// For ten seconds, or as long as is given. Throws Failure.
    void wait_for_first_connection(Signals& signals, std::optional<std::chrono::seconds> timeout);

    /// What has come, in order.
    std::optional<Heard> next() { return feed_->next(); }
    /// Once there was a connection: that it has gone, that it is there again.
    std::optional<Event> connection_news();
    /// Tells on standard error of what came faster than it was taken.
    void complain_of_dropped();

private:
    BusLink link_;
    const std::shared_ptr<Feed> feed_ = std::make_shared<Feed>();
    bool connected_ = true;
};

} // namespace celldctl
