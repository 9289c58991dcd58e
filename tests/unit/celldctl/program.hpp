#pragma once

#include "support/child.hpp"
#include "support/temp_root.hpp"
#include "unit/platform/observer.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <map>

struct Outcome {
    int status;
    std::string said; ///< both streams
};

/// A program to its end, as a user runs it.
inline Outcome run_program(const TempRoot& root, const std::vector<std::string>& command)
{
    constexpr auto PATIENCE = std::chrono::seconds(30); // no more than a hung test costs
    Child child;
    root.write("/said", "");
    child.start(command, root.path("/said"));
    if (!eventually([&] { return !child.running(); }, PATIENCE)) {
        return {-1, "it hangs: " + root.read("/said")};
    }
    return {child.result(), root.read("/said")};
}

/// Of a broker on this host; `more` is what its configuration has besides.
inline std::shared_ptr<ecu::kova::com::ITransportClient>
client_at(int port, const std::string& name, const std::map<std::string, std::string>& more = {})
{
    ecu::kova::config::Configuration configuration;
    configuration.set("host", "localhost");
    configuration.set("port", std::to_string(port));
    configuration.set("client_name", name);
    for (const auto& [key, value] : more) {
        configuration.set(key, value);
    }
    return create_client(configuration, ecu::kova::com::TransportType::MQTT);
}
