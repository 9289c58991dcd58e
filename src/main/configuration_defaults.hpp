#pragma once

#include <ecu/kova/config/configuration.hpp>

#include <memory>

/// "/etc/vexa/celld.conf" below CELLD_ROOT; empty when it is missing. Throws ConfigurationError, with the
/// file that was opened and the reason, for one that is there and cannot be read, and for a broken line.
std::unique_ptr<ecu::kova::config::Configuration> get_config();

/// Registers what the keys mean that the file does not set. The remaining keys have their fall-backs where
/// they are read.
void register_defaults(ecu::kova::config::Configuration& configuration);
