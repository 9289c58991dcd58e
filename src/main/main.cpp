#include "at/at_recording.hpp"
#include "main/command_line.hpp"
#include "main/configuration_defaults.hpp"
#include "main/hangup.hpp"
#include "main/instance_lock.hpp"
#include "main/logging_setup.hpp"
#include "main/slips.hpp"
#include "main/stop_handler.hpp"
#include "main/watchdog.hpp"
#include "modem/modem.hpp"

#include <ecu/kova/application.hpp>
#include <ecu/kova/logging.hpp>
#include <mosquittopp.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <malloc.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace logging = ecu::kova::logging;

const logging::Module& LOG = logging::module("celld.main");

int run(const CommandLineOptions& options)
{
    auto configuration = get_config();
    register_defaults(*configuration);
    LoggingSetup logging_setup(options);
    logging_setup.set_up(*configuration);
    warn_of_slips(*configuration, options);
    if (!configuration->verify()) {
        LOG.error("Unable to verify Configuration.");
        return EXIT_FAILURE;
    }
    const InstanceLock lock; // the last to go

    const std::vector<std::string> candidates{"/dev/ttyUbloxModemAT"};
    std::optional<AtRecording> recording; // outlives the port, as the next does
    Watchdog watchdog;
    auto port = std::make_shared<AtTtyPort>(candidates);
    if (configuration->get(AtRecording::CONFIG_KEY) == "true") {
        port->recorder(&recording.emplace());
    }
    port->after_command([&watchdog] { watchdog.command_over(); });

    LOG.debug("Register unix signal handler");
    stop_handler::install();

    auto modem = std::make_unique<Modem>(std::move(configuration), port);
    const auto look_for_hangup = [&logging_setup] {
        if (hangup::has_come()) {
            logging_setup.read_again();
        }
    };
    modem->each_pass([&] {
        watchdog.pass_begins();
        look_for_hangup();
    });
    modem->init([&] { // which may wait for long
        look_for_hangup();
        return stop_handler::signalled();
    });
    const stop_handler::Watch watch(*modem); // gone before the modem is, however this ends

    const auto action = action_of(options.action);
    if (action != Modem::RunAction::RUN) {
        LOG.notice("celld will only '", options.action, "' the modem and exit.");
    }
    modem->run(action);
    mosqpp::lib_cleanup(); // the bus client holds its own reference
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    // Its threads allocate little and seldom at once; an arena each would be theirs alone for ever
    // (mallopt(3)).
    static_cast<void>(mallopt(M_ARENA_MAX, 1)); // NOLINT(concurrency-mt-unsafe): before the first of them
    hangup::hold();
    version();
    CommandLineOptions options;
    if (!parse_opts(argc, argv, options)) {
        usage();
        return EXIT_FAILURE;
    }
    ecu::kova::application_starting();
    mosqpp::lib_init();
    logging::configure_logging(options.loglevel);
    int status = EXIT_FAILURE;
    try {
        status = run(options);
    } catch (const std::exception& error) {
        std::cerr << "celld: " << error.what() << std::endl;
    }
    logging::write_deferred();
    return status;
}
