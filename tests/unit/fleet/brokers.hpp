#pragma once

#include "unit/celldctl/program.hpp"
#include "unit/platform/broker.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <memory>

/// The shipped samples of a fleet, run by real brokers on loopback: the central one, and a unit's with its
/// bridge. Certificates are made by the shipped script.
class FleetBrokers {
public:
    static constexpr auto PATIENCE = std::chrono::seconds(30); // no more than a hung test costs
    using Replacements = std::vector<std::pair<std::string, std::string>>;
    using Client = std::shared_ptr<ecu::kova::com::ITransportClient>;

    FleetBrokers()
    {
        certificate("central localhost");
        for (const std::string name : {"units.acl", "operators.acl"}) {
            root.write("/" + name, sample(name));
        }
        root.write("/central.conf",
                   own_settings("central-db") +
                       sample("central.conf", {{"listener 8883", "listener " + at(units_port_)},
                                               {"listener 8884", "listener " + at(operators_port_)},
                                               {"/etc/mosquitto/fleet", folder()}}));
    }

    void certificate(const std::string& words)
    {
        const auto made = run_program(
            root, {"/bin/sh", "-c", "cd " + folder() + " && " FLEET_SAMPLES "/fleet-certificates " + words});
        if (made.status != 0) {
            throw std::runtime_error("no certificate: " + made.said);
        }
    }

    void start_central() { start(central_, "central.conf", operators_port_); }
    /// As the service manager does it.
    void stop_central()
    {
        central_.signal(SIGTERM);
        if (!eventually([&] { return !central_.running(); }, PATIENCE)) {
            throw std::runtime_error("the central broker does not end");
        }
    }

    /// The unit's own broker, bridged.
    void start_unit(const std::string& id, Replacements replacements = {})
    {
        replacements.insert(replacements.end(),
                            {{"UNIT-ID", id},
                             {"central.example.org:8883", "localhost:" + std::to_string(units_port_)},
                             {"/etc/mosquitto/fleet/unit.", folder() + "/" + id + "."},
                             {"/etc/mosquitto/fleet", folder()},
                             {"restart_timeout 5 60", "restart_timeout 1"}});
        root.write("/unit.conf", own_settings("unit-db") + "persistence true\nlistener " + at(unit_port_) +
                                     "\nallow_anonymous true\n" + sample("unit-bridge.conf", replacements));
        start(unit_, "unit.conf", unit_port_);
    }
    void stop_unit() { unit_.kill(); }

    /// Of the unit's own bus.
    Client on_the_unit() { return client_at(unit_port_, "daemon"); }
    /// Without a certificate where that is empty.
    Client as_unit(const std::string& certificate, const std::string& client_id)
    {
        return client(units_port_, client_id, certificate);
    }
    Client as_operator(const std::string& certificate)
    {
        return client(operators_port_, "client-of-" + certificate, certificate);
    }

    int operators_port() const { return operators_port_; }
    std::string folder() const { return root.path("").string(); }

    TempRoot root;

private:
    static std::string at(int port) { return std::to_string(port) + " 127.0.0.1"; }

    static std::string sample(const std::string& name, const Replacements& replacements = {})
    {
        std::ifstream file(FLEET_SAMPLES "/" + name);
        std::string text{std::istreambuf_iterator<char>(file), {}};
        for (const auto& [from, to] : replacements) {
            for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
                text.replace(at, from.size(), to);
            }
        }
        return text;
    }

    /// A broker of root would else give its rights up and not read the folder.
    std::string own_settings(const std::string& database)
    {
        std::filesystem::create_directories(root.path("/" + database));
        return "user root\npersistence_location " + folder() + "/" + database + "/\nlog_dest stderr\n";
    }

    void start(Child& broker, const std::string& configuration, int port)
    {
        broker.start({"/usr/sbin/mosquitto", "-c", folder() + "/" + configuration},
                     root.path("/" + configuration + ".log"));
        Broker::wait_until_listening(port);
    }

    static Client client(int port, const std::string& id, const std::string& certificate)
    {
        std::map<std::string, std::string> tls{{"bus.cafile", "/central-ca.crt"}};
        if (!certificate.empty()) {
            tls["bus.certfile"] = "/" + certificate + ".crt";
            tls["bus.keyfile"] = "/" + certificate + ".key";
        }
        return client_at(port, id, tls);
    }

    const int units_port_ = free_port();
    const int operators_port_ = free_port();
    const int unit_port_ = free_port();
    Child central_;
    Child unit_;
};
