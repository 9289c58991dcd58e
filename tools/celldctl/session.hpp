#pragma once

#include "exit_status.hpp"
#include "output.hpp"
#include "signals.hpp"

#include <ecu/kova/config/configuration.hpp>

#include <optional>
#include <string>

namespace celldctl {

/// What stands on the command line of the broker; it comes before the configuration file.
struct BrokerOptions {
    std::optional<std::string> host;
    std::optional<int> port; ///< 1 to 65535
    std::optional<std::string> username;
    std::optional<std::string> password;
    std::optional<std::string> cafile; ///< the three as the shell has them, not below CELLD_ROOT
    std::optional<std::string> certfile;
    std::optional<std::string> keyfile;
    std::optional<std::string> unit; ///< its id, where the broker is the fleet's; without a fault
};

/// What every verb works with.
struct Session {
    BrokerOptions broker;
    Signals signals;
    Output output;
};

/// For a client of the bus: the defaults, the file "/etc/vexa/celld.conf", what the command line says, and a
/// name of this process, for two clients of one name throw each other off the bus. Throws Failure for a file
/// or a value that cannot be used.
ecu::kova::config::Configuration bus_configuration(const BrokerOptions& broker);

/// Puts the defaults, the command line's values and the name into what a file has said.
void complete(ecu::kova::config::Configuration& configuration, const BrokerOptions& broker);

} // namespace celldctl
