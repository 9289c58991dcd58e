#include "fleet/fleet_bus.hpp"

#include "fleet/unit_id.hpp"
#include "timer/wall_clock.hpp"

namespace celldctl {

namespace {

using namespace std::chrono_literals;

constexpr auto FIRST_CONNECTION = 10s;
constexpr auto ADVANCE = 1s; // between two looks at every unit

} // namespace

void FleetObserver::message(const std::string& topic, const ecu::kova::com::Message& message)
{
    const auto now = timer::wall_now();
    const threads::MutexLock lock(mutex_);
    model_.take(topic, message, now);
    last_retained_ = message.retained() ? now : last_retained_;
}

void FleetObserver::connection(bool connected, FleetTime now)
{
    const threads::MutexLock lock(mutex_);
    model_.connection(connected, now);
}

void FleetObserver::advance(FleetTime now)
{
    const threads::MutexLock lock(mutex_);
    model_.advance(now);
}

FleetModel FleetObserver::model() const
{
    const threads::MutexLock lock(mutex_);
    auto copy = model_;
    static_cast<void>(copy.take_news());
    return copy;
}

std::vector<FleetNews> FleetObserver::take_news()
{
    const threads::MutexLock lock(mutex_);
    return model_.take_news();
}

FleetModel::Left FleetObserver::left_out() const
{
    const threads::MutexLock lock(mutex_);
    return model_.left_out();
}

FleetTime FleetObserver::last_retained() const
{
    const threads::MutexLock lock(mutex_);
    return last_retained_;
}

FleetBus::FleetBus(const BrokerOptions& broker) : link_(broker)
{
    observer_->connection(true, timer::wall_now());
    for (const auto* const topic : FLEET_TOPICS) {
        link_.subscribe(std::string(UNITS) + "+/" + topic, observer_);
    }
}

void FleetBus::wait_for_first_connection(Signals& signals, std::optional<std::chrono::seconds> timeout)
{
    link_.wait_until_connected(signals, {timeout.value_or(FIRST_CONNECTION), true});
}

Event FleetBus::connection_news(bool connected) const
{
    return connected ? connection_event("there again: " + link_.broker(), true)
                     : connection_event(
                           "lost to " + link_.broker() + ": " + link_.reason() + "; trying again", false);
}

std::optional<Event> FleetBus::look(FleetTime now)
{
    std::optional<Event> news;
    const bool connected = link_.is_connected();
    if (connected_ ? *connected_ != connected : connected) {
        observer_->connection(connected, now);
        news = connected_ ? std::optional(connection_news(connected)) : std::nullopt;
        connected_ = connected;
    }
    if (now - advanced_ >= ADVANCE || now < advanced_) {
        advanced_ = now;
        observer_->advance(now);
    }
    return news;
}

} // namespace celldctl
