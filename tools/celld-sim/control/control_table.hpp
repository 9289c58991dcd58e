#pragma once

#include "control/bench.hpp"
#include "control/words.hpp"

#include <span>
#include <string>
#include <string_view>

namespace bench {

/// One control command.
struct ControlRow {
    std::string_view name;
    std::string (*handler)(Bench&, Words&); ///< @return what follows "ok". @throws BenchError
    std::string_view arguments;
    std::string_view help;
};

// The control commands by theme, each from the file of that name.
std::span<const ControlRow> network_controls();
std::span<const ControlRow> module_controls();
std::span<const ControlRow> script_controls();
std::span<const ControlRow> state_controls();

} // namespace bench
