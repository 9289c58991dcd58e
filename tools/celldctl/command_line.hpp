#pragma once

#include "verbs.hpp"

#include <string>

namespace celldctl {

struct CommandLine {
    BrokerOptions broker;
    Run run;          ///< empty: `text` is all there is to do
    std::string text; ///< help or version, for standard output
};

/// Throws UsageError. The only place that knows the parser's library.
CommandLine parse_command_line(int argc, const char* const* argv);

} // namespace celldctl
