#pragma once

#include "scenario/event_kind.hpp"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// What is to happen on the bench, one event a line (docs/bench.md has the grammar).
struct ScenarioLine {
    std::size_t number = 0;              ///< in the file, from 1
    bool then = false;                   ///< armed by the line above; otherwise from the start
    std::optional<EventPattern> event{}; ///< what sets it off once it is armed; nothing: being armed does
    bool each = false;                   ///< again and again
    unsigned turn = 1;                   ///< the n-th such event, or each n-th
    std::chrono::milliseconds delay{0};  ///< from there to the command
    std::string command{};
};

using Scenario = std::vector<ScenarioLine>;

constexpr std::size_t MAX_SCENARIO_LINES = 1000; ///< far above what anybody reads
constexpr std::size_t MAX_SCENARIO_LINE = 500;   ///< characters; a control command with a long answer fits

/// What is wrong with a control command, as far as that can be told without running it; nothing when it looks
/// right.
using CommandCheck = std::function<std::optional<std::string>(std::string_view)>;

/// Reads one line. Nothing for a blank one and a comment. @throws BenchError with what is wrong and what
/// would be right
std::optional<ScenarioLine> parse_scenario_line(std::string_view text, const CommandCheck& check);

/// @throws BenchError with file, line and what is wrong, also for a file that cannot be read, holds no event,
/// no text or too much
Scenario read_scenario(const std::filesystem::path& file, const CommandCheck& check);

} // namespace bench
