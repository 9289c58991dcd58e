#include "bus_link.hpp"

#include "fields.hpp"
#include "fleet/unit_client.hpp"

#include <algorithm>
#include <array>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
namespace com = ecu::kova::com;

constexpr auto LOOK_AGAIN = 20ms;

/// An optional operation of the platform library, found at compile time.
template <class Trouble, class Client>
std::optional<Trouble> trouble_of(const Client& client)
{
    if constexpr (requires { client.connection_failure(); }) {
        if (const auto failure = client.connection_failure()) {
            return Trouble{failure->refused, failure->reason};
        }
    }
    return std::nullopt;
}

} // namespace

BusLink::BusLink(const BrokerOptions& broker)
    : configuration_(bus_configuration(broker)),
      broker_(configuration_.get("host") + ":" + configuration_.get("port")),
      is_of_a_fleet_(broker.unit.has_value()),
      client_(com::create_client(configuration_, com::TransportType::MQTT)), unit_(client_)
{
    if (broker.unit) {
        unit_ = std::make_shared<UnitClient>(client_, *broker.unit);
    }
}

void BusLink::subscribe(const std::string& topic, const std::shared_ptr<com::ISubscriptionObserver>& observer)
{
    if (!unit_->subscribe(topic, observer)) {
        throw Failure(FAILURE, "cannot subscribe to " + topic);
    }
}

void BusLink::wait_until_connected(Signals& signals, const Patience& patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience.limit;
    while (!is_connected()) {
        check_not_refused();
        if (std::chrono::steady_clock::now() >= deadline || (trouble() && !patience.tries_again)) {
            throw no_connection();
        }
        if (signals.wait(LOOK_AGAIN)) {
            throw Failure(BY_SIGNAL + signals.ending(), "");
        }
    }
}

void BusLink::check_not_refused() const
{
    if (const auto why = trouble(); why && why->refused) {
        throw no_connection();
    }
}

Failure BusLink::no_connection() const
{
    const auto why = trouble();
    return {why && why->refused ? REFUSED : NO_CONNECTION,
            "no connection to " + broker_ + ": " + reason() + certificate_hint(reason())};
}

bool BusLink::is_local() const
{
    const std::string host = configuration_.get("host");
    return !is_of_a_fleet_ && (host == "localhost" || host == "::1" || host.rfind("127.", 0) == 0);
}

std::string BusLink::reason() const
{
    const auto why = trouble();
    if (!why) {
        return "the broker does not answer";
    }
    return printable(why->reason);
}

/// OpenSSL does not name what a broker does to a client whose certificate is not to its liking, or is not
/// there. Nothing for other failures.
std::string BusLink::certificate_hint(const std::string& reason) const
{
    constexpr std::array ENDS{"lost", "Protocol error", "reset by peer",
                              "Broken pipe"}; // whichever is seen first
    const bool may_be = std::any_of(ENDS.begin(), ENDS.end(), [&reason](const char* end) {
        return reason.find(end) != std::string::npos;
    });
    if (configuration_.get("bus.cafile").empty() || !may_be) {
        return {};
    }
    return std::string(reason.ends_with('.') ? "" : ".") +
           (configuration_.get("bus.certfile").empty() ? " Does it want a certificate (--cert, --key)?"
                                                       : " Does it take this certificate?");
}

std::optional<BusLink::Trouble> BusLink::trouble() const
{
    return trouble_of<Trouble>(*client_);
}

Patience patience(std::optional<std::chrono::seconds> given, std::chrono::seconds otherwise)
{
    return {given.value_or(otherwise), given.has_value()};
}

} // namespace celldctl
