#include "session.hpp"

#include "main/configuration_defaults.hpp"

#include <ecu/kova/root.hpp>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace celldctl {

namespace {

using ecu::kova::config::Configuration;

/// The platform library puts CELLD_ROOT in front of an absolute path, as it does for those of the file; one
/// of the command line is meant as the shell has it.
std::optional<std::string> as_the_shell_has_it(const std::optional<std::string>& path)
{
    std::error_code error;
    const auto relative = path ? std::filesystem::proximate(*path, error) : std::filesystem::path();
    return path && !error && !path->empty() ? std::optional(relative.string()) : path;
}

/// The client library would only say that an argument is wrong.
void check_certificates(const Configuration& configuration)
{
    for (const char* const key : {"bus.cafile", "bus.certfile", "bus.keyfile"}) {
        const auto path = ecu::kova::rooted(configuration.get(key));
        if (!path.empty() && access(path.c_str(), R_OK) != 0) {
            throw Failure(FAILURE,
                          path + " (" + key + ") cannot be read: " + std::generic_category().message(errno));
        }
    }
}

} // namespace

void complete(Configuration& configuration, const BrokerOptions& broker)
{
    const auto set = [&configuration](const char* key, const std::optional<std::string>& value) {
        if (value) {
            configuration.set(key, *value);
        }
    };
    configuration.set_default("host", "localhost");
    configuration.set_default("port", "1883");
    set("host", broker.host);
    set("port", broker.port ? std::optional(std::to_string(*broker.port)) : std::nullopt);
    set("bus.username", broker.username);
    set("bus.password", broker.password);
    set("bus.cafile", as_the_shell_has_it(broker.cafile));
    set("bus.certfile", as_the_shell_has_it(broker.certfile));
    set("bus.keyfile", as_the_shell_has_it(broker.keyfile));
    configuration.set("client_name", "celldctl-" + std::to_string(getpid()));
}

Configuration bus_configuration(const BrokerOptions& broker)
{
    try {
        auto configuration = *get_config();
        complete(configuration, broker);
        if (!configuration.verify()) { // which says what is wrong
            throw Failure(FAILURE, "");
        }
        check_certificates(configuration);
        return configuration;
    } catch (const ecu::kova::config::ConfigurationError& error) {
        throw Failure(FAILURE, error.what());
    }
}

} // namespace celldctl
