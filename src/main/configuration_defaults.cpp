#include "main/configuration_defaults.hpp"

#include "data/defs.hpp"
#include "modem/modem_limits.hpp"
#include "status/antenna_handler.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>

#include <cerrno>
#include <files/status.hpp>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.main");

constexpr const char* CONFIGURATION_PATH = "/etc/vexa/celld.conf";

/// Opens the file where it is there; throws ConfigurationError, with the system's reason, for one that is
/// there and cannot be read.
std::ifstream open_configuration(const std::string& path)
{
    const auto refuse = [&path](const std::string& reason) {
        throw ecu::kova::config::ConfigurationError(path + ": cannot be read: " + reason);
    };
    std::error_code error;
    const auto status = files::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return {};
    }
    if (!std::filesystem::status_known(status)) {
        refuse(error.message());
    }
    if (!std::filesystem::is_regular_file(status)) { // opening a FIFO put there would block
        refuse(std::filesystem::is_directory(status) ? "it is a directory" : "it is no file");
    }
    std::ifstream file(path);
    if (!file) {
        refuse(std::generic_category().message(errno));
    }
    return file;
}

} // namespace

std::unique_ptr<ecu::kova::config::Configuration> get_config()
{
    auto configuration = std::make_unique<ecu::kova::config::Configuration>();
    const std::string path = ecu::kova::rooted(CONFIGURATION_PATH);
    std::ifstream file = open_configuration(path);
    if (!file.is_open()) {
        LOG.debug("Using default configuration");
        return configuration;
    }
    ecu::kova::config::set_config_from_input(*configuration, file, path);
    return configuration;
}

void register_defaults(ecu::kova::config::Configuration& configuration)
{
    const ModemLimits limits;
    const AntennaHandler::Settings antenna;
    const auto text = [&configuration](const char* key, const std::string& value) {
        configuration.set_default(key, value);
    };
    const auto number = [&configuration](const char* key, auto value) {
        configuration.set_default(key, std::to_string(value));
    };
    text("client_name", "celld");
    text("routermode", "false");
    text("sim.external.pin", "5193");
    text("sim.internal.state", defs::to_str(defs::SimState::AUTO));
    text("sim.external.state", defs::to_str(defs::SimState::AUTO));
    number("max_modem_reset", limits.max_modem_reset);
    number("nw_search_reattach_timer", limits.nw_search_reattach_timer);
    number("nw_search_modem_reset_timer", limits.nw_search_modem_reset_timer);
    number("max_sim_errors", limits.max_sim_errors);
    number("max_modem_resets_before_dtc", limits.max_modem_resets_before_dtc);
    number(AntennaHandler::CONFIG_THREAD_FREQ_KEY, antenna.frequency_s);
    number(AntennaHandler::CONFIG_RSSI_THRH_KEY, antenna.rssi_threshold);
    number(AntennaHandler::CONFIG_FORCE_CHECK_KEY, antenna.force_check_interval);
}
