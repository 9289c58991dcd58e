#pragma once

#include "bus_link.hpp"
#include "events.hpp"

namespace celldctl {

/// Says when the connection has gone, and when it is there again. Main thread only.
class LinkWatch {
public:
    explicit LinkWatch(const BusLink& link) : link_(link) {}

    /// To be asked again and again once there was a connection.
    std::optional<Event> news();

private:
    const BusLink& link_;
    bool connected_ = true;
};

} // namespace celldctl
