#pragma once

#include "at/at_answer.hpp"
#include "at/at_request.hpp"
#include "module/family.hpp"

#include <span>
#include <string_view>

namespace bench {

class Module;

/// One command of the dialect.
struct CommandRow {
    std::string_view name;
    unsigned families;
    AtAnswer (*handler)(Module&, const AtRequest&);
    int slowness = 1;             ///< duration of its set form in units of the command delay
    std::string_view ranges = ""; ///< what "=?" lists
};

// The dialect by theme, each from the file of that name.
std::span<const CommandRow> identity_commands();
std::span<const CommandRow> config_commands();
std::span<const CommandRow> report_commands();
std::span<const CommandRow> network_commands();
std::span<const CommandRow> context_commands();
std::span<const CommandRow> sim_commands();

/// Runs the command; one that the family does not know is "operation not supported".
AtAnswer run_command(Module& module, const AtRequest& request);

int command_slowness(const AtRequest& request);

} // namespace bench
