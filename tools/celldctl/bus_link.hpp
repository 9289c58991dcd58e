#pragma once

#include "session.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace celldctl {

/// How long a verb waits for the broker.
struct Patience {
    std::chrono::seconds limit;
    bool tries_again; ///< a try that fails at once (nobody listens there) is not the end of it
};

/// A verb's connection to the bus: made in the background, and kept. Main thread only.
class BusLink {
public:
    /// Throws Failure for a configuration that cannot be used.
    explicit BusLink(const BrokerOptions& broker);

    ecu::kova::com::ITransportClient& client() { return *unit_; }
    std::shared_ptr<ecu::kova::com::ITransportClient>& shared() { return unit_; }
    bool is_connected() const { return client_->is_connected(); }

    /// Throws Failure when a subscription cannot be asked for.
    void subscribe(const std::string& topic,
                   const std::shared_ptr<ecu::kova::com::ISubscriptionObserver>& observer);

    /// Throws Failure when there is no connection in that time, the broker refuses, or a signal comes.
    void wait_until_connected(Signals& signals, const Patience& patience);
    /// Throws Failure when the broker has refused the last try.
    void check_not_refused() const;
    /// What to throw when there is no connection; the reason where one is known.
    Failure no_connection() const;

    /// The broker is the fleet's, and the unit another host.
    bool is_of_a_fleet() const { return is_of_a_fleet_; }
    /// The unit is this host, so that the time stamps of its messages are of this host's clock.
    bool is_local() const;
    const std::string& broker() const { return broker_; }
    /// Why there is no connection, where that is known.
    std::string reason() const;

private:
    struct Trouble {
        bool refused;
        std::string reason;
    };
    std::string certificate_hint(const std::string& reason) const;
    /// What the platform library says of it where it is the bundled one.
    std::optional<Trouble> trouble() const;

    ecu::kova::config::Configuration configuration_;
    std::string broker_; // "host:port"
    const bool is_of_a_fleet_;
    std::shared_ptr<ecu::kova::com::ITransportClient> client_;
    std::shared_ptr<ecu::kova::com::ITransportClient> unit_; // the client, or what puts the unit's prefix on
};

/// Of a verb that asks once: `given` on the command line, or `otherwise` and no second try.
Patience patience(std::optional<std::chrono::seconds> given, std::chrono::seconds otherwise);

} // namespace celldctl
