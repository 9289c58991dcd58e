#pragma once

#include "main/command_line.hpp"

#include <ecu/kova/config/configuration.hpp>

/// Tells of what celld does not know and goes on without: keys, words for a choice and log modules of the
/// configuration, and the word of the command line. One WARNING each on "celld.main", with the nearest known
/// one where there is one. Changes nothing.
void warn_of_slips(const ecu::kova::config::Configuration& configuration, const CommandLineOptions& options);
