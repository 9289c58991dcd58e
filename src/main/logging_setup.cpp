#include "main/logging_setup.hpp"

#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace logging = ecu::kova::logging;

const logging::Module& LOG = logging::module("celld.main");

void enable_modules(const std::string& names)
{
    for (const auto& name : utils::split_as(names, ',')) {
        if (name == "all") {
            logging::enable_all();
            return;
        }
        logging::enable(name, true);
    }
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

void set_up_logging(const ecu::kova::config::Configuration& configuration, const CommandLineOptions& options)
{
    enable_modules(configuration.get("logmodules"));
    const std::string mode = configuration.get("logmode");
    if (!mode.empty() && !options.log_to_stdout) {
        choose_sink(mode);
    }
    const std::string level = configuration.get("loglevel");
    if (!level.empty() && !options.loglevel_given) {
        logging::configure_logging(level);
    } else if (!options.loglevel.empty()) {
        logging::configure_logging(options.loglevel);
    }
}
