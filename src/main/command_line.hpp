#pragma once

#include "modem/modem.hpp"

#include <string>
#include <vector>

/// What the command line says. Main thread only.
struct CommandLineOptions {
    bool loglevel_given = false;
    std::string loglevel = "NOTICE"; ///< also the fall-back
    bool log_to_stdout = false;
    std::string action; ///< the last positional word
};

/// The program name and the build identification, on standard error.
void version();
/// On standard error.
void usage();
/// Fills `options`. False when the usage is to be shown; "-v" ends the process with status 0.
bool parse_opts(int argc, char** argv, CommandLineOptions& options);
/// Those that `action_of` knows.
std::vector<const char*> action_words();
/// RUN for an empty or unknown word.
Modem::RunAction action_of(const std::string& word);
