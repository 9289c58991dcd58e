#include "bus_listener.hpp"

#include "snapshot.hpp"

#include <array>

namespace celldctl {

namespace {

using namespace std::chrono_literals;

constexpr std::array TOPICS{"system/modem/#", "rt/system/#", "be/status"};
constexpr auto FIRST_CONNECTION = 10s;

} // namespace

BusListener::BusListener(const BrokerOptions& broker) : link_(broker)
{
    for (const auto* const topic : TOPICS) {
        link_.subscribe(topic, feed_);
    }
    if (link_.is_of_a_fleet()) {
        link_.subscribe(BRIDGE_TOPIC, feed_);
    }
}

void BusListener::wait_for_first_connection(Signals& signals, std::optional<std::chrono::seconds> timeout)
{
    link_.wait_until_connected(signals, {timeout.value_or(FIRST_CONNECTION), true});
}

std::optional<Event> BusListener::connection_news()
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

void BusListener::complain_of_dropped()
{
    if (const auto dropped = feed_->take_dropped(); dropped > 0) {
        complain(std::to_string(dropped) +
                 " messages are left out: they come faster than they can be written");
    }
}

} // namespace celldctl
