#pragma once

#include "main/command_line.hpp"
#include "utils/words.hpp"

#include <ecu/kova/config/configuration.hpp>

#include <string>
#include <vector>

/// What celld does not know and goes on without.
struct Slip {
    std::string what; ///< "key in the configuration", "value of logmode"
    std::string word;
    const char* meant; ///< the nearest known one; null where none is near

    /// "Unknown key in the configuration 'client-name', did you mean 'client_name'?"
    std::string text() const;
};

/// Every key of the configuration that somebody reads, the platform library's included.
utils::Words known_keys();

/// The keys, words for a choice and log modules of the configuration that are slips, in this order. Pure.
std::vector<Slip> slips_in(const ecu::kova::config::Configuration& configuration);

/// Tells of what celld does not know and goes on without: keys, words for a choice and log modules of the
/// configuration, and the word of the command line. One WARNING each on "celld.main", with the nearest known
/// one where there is one. Changes nothing.
void warn_of_slips(const ecu::kova::config::Configuration& configuration, const CommandLineOptions& options);
