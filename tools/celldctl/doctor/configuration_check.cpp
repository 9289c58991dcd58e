#include "at/at_text.hpp"
#include "doctor/checks.hpp"
#include "main/configuration_defaults.hpp"
#include "main/slips.hpp"
#include "utils/strings.hpp"
#include "utils/words.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>

#include <array>
#include <cerrno>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace celldctl {

namespace {

using ecu::kova::config::Configuration;

/// What the platform library refuses to work with.
struct Refusal {
    const char* key;
    const char* why;
};
constexpr std::array REFUSALS{
    Refusal{"port", "no number from 1 to 65535"},
    Refusal{"host", "empty"},
    Refusal{"client_name", "no MQTT client id"},
};

constexpr std::array SECRETS{"bus.password", "sim.internal.password", "sim.external.password",
                             "sim.external.pin"};
/// What is put between the quotes of an AT command.
constexpr std::array ARGUMENTS{"sim.internal.apn", "sim.internal.user", "sim.internal.password",
                               "sim.external.apn", "sim.external.user", "sim.external.password",
                               "sim.external.pin"};
constexpr std::array CERTIFICATES{"bus.cafile", "bus.certfile", "bus.keyfile"};

bool is_refused(const std::string& key, const std::string& value)
{
    Configuration alone;
    alone.set("client_name", "celldctl");
    alone.set(key, value);
    return !alone.verify();
}

void check_refusals(const Configuration& configuration, Findings& findings)
{
    for (const auto& [key, why] : REFUSALS) {
        if (configuration.is_set(key) && is_refused(key, configuration.get(key))) {
            findings.error(std::string(key) + " = '" + configuration.get(key) + "' is " + why +
                               "; celld does not start",
                           "mend it, or leave it out");
        }
    }
}

void check_slips(const Configuration& configuration, Findings& findings)
{
    for (const auto& slip : slips_in(configuration)) {
        findings.warning(slip.text(), slip.meant != nullptr ? "write '" + std::string(slip.meant) + "'"
                                                            : "docs/configuration.md has the known ones");
    }
}

void check_log_level(const Configuration& configuration, Findings& findings)
{
    using ecu::kova::logging::Level;
    const auto name = configuration.get("loglevel");
    std::vector<const char*> levels;
    for (int level = static_cast<int>(Level::EMERG); level <= static_cast<int>(Level::DEBUG); ++level) {
        levels.push_back(ecu::kova::logging::to_str(static_cast<Level>(level)));
        if (utils::lower_case(name) == utils::lower_case(levels.back())) {
            return;
        }
    }
    if (!name.empty()) {
        findings.warning("Unknown value of loglevel '" + name + "'", "one of " + utils::listed(levels));
    }
}

/// The values are secrets, or nearly so: told without them.
void check_arguments(const Configuration& configuration, Findings& findings)
{
    for (const char* const key : ARGUMENTS) {
        if (at::breaks_at_argument(configuration.get(key))) {
            findings.error(std::string(key) +
                               " holds a double quote or a control character, and counts as empty",
                           "write it without");
        }
    }
}

void check_certificates(const Configuration& configuration, Findings& findings)
{
    for (const char* const key : CERTIFICATES) {
        const auto path = ecu::kova::rooted(configuration.get(key));
        if (!path.empty() && access(path.c_str(), R_OK) != 0) {
            findings.error(std::string(key) + ": " + path + ": " + std::generic_category().message(errno),
                           "put the PEM file there, or mend the key");
        }
    }
    if (configuration.get("bus.cafile").empty() &&
        !(configuration.get("bus.certfile") + configuration.get("bus.keyfile")).empty()) {
        findings.warning("bus.certfile or bus.keyfile without bus.cafile: there is no TLS", "set bus.cafile");
    }
    if (configuration.get("bus.username").empty() && !configuration.get("bus.password").empty()) {
        findings.warning("bus.password without bus.username: there is no login", "set bus.username");
    }
}

bool holds_a_secret(const UnitFile& file)
{
    for (const char* const key : SECRETS) {
        if (const auto* const value = file.find(key); value != nullptr && !value->empty()) {
            return true;
        }
    }
    return false;
}

} // namespace

Configuration configuration_of(const UnitFile& file)
{
    Configuration configuration;
    for (const auto& line : file.lines) {
        configuration.set(line.key, line.value);
    }
    return configuration;
}

void check_configuration(const UnitFile& file, Findings& findings)
{
    if (!file.exists) {
        findings.ok(file.path + " is not there: every key has its default");
        return;
    }
    if (!file.trouble.empty()) {
        findings.error(file.path + " cannot be read: " + file.trouble +
                           "; a celld of this user does not start",
                       "make it a file that celld's user may read, or run this as that user");
        return;
    }
    check_file(file, holds_a_secret(file), findings);
    for (const auto& fault : file.faults) {
        findings.error("line " + std::to_string(fault.number) + ": " + fault.text + "; celld does not start",
                       "write it as 'key = value', or begin it with #");
    }
    const auto configuration = configuration_of(file);
    check_refusals(configuration, findings);
    check_slips(configuration, findings);
    check_log_level(configuration, findings);
    check_arguments(configuration, findings);
    check_certificates(configuration, findings);
}

} // namespace celldctl
