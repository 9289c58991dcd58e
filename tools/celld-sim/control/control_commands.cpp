#include "control/control_commands.hpp"

#include "base/files.hpp"
#include "control/control_table.hpp"
#include "control/usage.hpp"

#include <algorithm>
#include <array>

namespace bench {
namespace {

std::array<std::span<const ControlRow>, 4> themes()
{
    return {network_controls(), module_controls(), script_controls(), state_controls()};
}

const ControlRow& find_row(const std::string& name)
{
    for (const auto rows : themes()) {
        for (const auto& row : rows) {
            if (row.name == name) {
                return row;
            }
        }
    }
    throw BenchError("unknown command '" + name + "'; celld-sim --help tells them all");
}

} // namespace

std::string run_control_command(Bench& bench, const std::string& line)
{
    Words words(line);
    try {
        const auto text = find_row(words.next()).handler(bench, words);
        return text.empty() ? "ok" : "ok " + text;
    } catch (const BenchError& error) {
        return std::string("error ") + error.what();
    }
}

std::optional<std::string> check_control_command(std::string_view line)
{
    Words words(line);
    try {
        const auto& row = find_row(words.next());
        if (fits_usage(row.arguments, words.rest(), check_control_command)) {
            return std::nullopt;
        }
        return "no command '" + std::string(line) + "'; it is '" + std::string(row.name) + " " +
               std::string(row.arguments) + "'";
    } catch (const BenchError& error) {
        return error.what();
    }
}

std::string control_help()
{
    constexpr std::size_t COLUMN = 42;
    std::string text;
    for (const auto rows : themes()) {
        for (const auto& row : rows) {
            std::string left = "  " + std::string(row.name) + " " + std::string(row.arguments);
            left.resize(std::max(COLUMN, left.size() + 1), ' ');
            text.append(left).append(row.help).append("\n");
        }
    }
    return text;
}

} // namespace bench
