#include "main/logging_setup.hpp"

#include "main/configuration_defaults.hpp"
#include "main/slips.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>

#include <exception>
#include <utility>

namespace {

namespace logging = ecu::kova::logging;

const logging::Module& LOG = logging::module("celld.main");

/// Empty for all.
std::set<std::string> modules_in(const std::string& names)
{
    auto modules = utils::split_as(names, ',');
    if (modules.count("all") != 0) {
        modules.clear();
    }
    return modules;
}

void choose_sink(const std::string& mode)
{
    if (mode == "stdout") {
        logging::set_log_mode(logging::LogMode::STDOUT);
    } else if (mode == "stderr") {
        logging::set_log_mode(logging::LogMode::STDERR);
    } else if (mode == "syslog") {
        logging::set_log_mode(logging::LogMode::SYSLOG);
    } else {
        LOG.notice("logmode from config '", mode, "' not recognized");
    }
}

} // namespace

void LoggingSetup::set_up(const ecu::kova::config::Configuration& configuration)
{
    choose_records(configuration);
    const std::string mode = configuration.get("logmode");
    if (!mode.empty() && !options_.log_to_stdout) {
        choose_sink(mode);
    }
}

void LoggingSetup::read_again() noexcept
{
    try {
        const auto configuration = get_config();
        choose_records(*configuration);
        warn_of_slips(*configuration, {});
        std::string names;
        for (const auto& name : modules_) {
            names += (names.empty() ? "" : ",") + name;
        }
        LOG.notice("Configuration read again: log level ", logging::to_str(logging::get_log_level()),
                   ", log modules ", names.empty() ? "all" : names, "; other keys take a restart");
    } catch (const std::exception& error) {
        LOG.error("Configuration not read again, log level and modules stay: ", error.what());
    }
}

/// In an order in which no record passes meanwhile that neither setting lets pass: those of the port hold
/// secrets.
void LoggingSetup::choose_records(const ecu::kova::config::Configuration& configuration)
{
    const std::string names = configuration.get("logmodules");
    auto modules = modules_in(names);
    const std::string level = configuration.get("loglevel");
    if (modules.empty()) {
        choose_level(level);
        if (!names.empty() || !modules_.empty()) {
            logging::enable_all();
        }
    } else {
        for (const auto& name : modules) {
            logging::enable(name, true);
        }
        for (const auto& name : modules_) {
            if (modules.count(name) == 0) {
                logging::enable(name, false);
            }
        }
        choose_level(level);
    }
    modules_ = std::move(modules);
}

void LoggingSetup::choose_level(const std::string& level)
{
    if (!level.empty() && !options_.loglevel_given) {
        logging::configure_logging(level);
    } else if (!options_.loglevel.empty()) {
        logging::configure_logging(options_.loglevel);
    }
}
