#include "link_watch.hpp"

namespace celldctl {

std::optional<Event> LinkWatch::news()
{
    if (link_.is_connected() == connected_) {
        return std::nullopt;
    }
    connected_ = !connected_;
    if (connected_) {
        return connection_event("there again: " + link_.broker(), true);
    }
    return connection_event("lost to " + link_.broker() + ": " + link_.reason() + "; trying again", false);
}

} // namespace celldctl
