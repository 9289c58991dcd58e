#pragma once

#include "main/command_line.hpp"

#include <ecu/kova/config/configuration.hpp>

/// Modules, sink and level as the configuration says, unless the command line has said otherwise.
void set_up_logging(const ecu::kova::config::Configuration& configuration, const CommandLineOptions& options);
