#pragma once

#include "main/command_line.hpp"

#include <ecu/kova/config/configuration.hpp>

#include <set>
#include <string>

/// Modules, sink and level as the configuration says, unless the command line has said otherwise. Main thread
/// only, beside which any thread may log. Logs on "celld.main".
class LoggingSetup {
public:
    explicit LoggingSetup(CommandLineOptions options) : options_(std::move(options)) {}

    /// At start.
    void set_up(const ecu::kova::config::Configuration& configuration);

    /// Reads the configuration file again and takes level and modules from it; nothing else, and nothing at
    /// all from a file that cannot be read, which is an ERROR that says why. Never throws.
    void read_again() noexcept;

private:
    void choose_records(const ecu::kova::config::Configuration& configuration);
    void choose_level(const std::string& level);

    const CommandLineOptions options_;
    std::set<std::string> modules_; // named by the configuration; empty: all
};
