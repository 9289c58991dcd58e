#include "watch/sparkline.hpp"

#include <algorithm>
#include <array>

namespace celldctl {

namespace {

constexpr std::int64_t LOWEST_DBM = -113; // <rssi> 0 of +CSQ, 3GPP TS 27.007
constexpr std::int64_t HIGHEST_DBM = -51; // 31
constexpr std::array BLOCKS{"\u2581", "\u2582", "\u2583", "\u2584", "\u2585", "\u2586", "\u2587", "\u2588"};
constexpr std::array LETTERS{"_", ".", ",", "-", "=", "+", "*", "#"};

std::size_t level(std::int64_t dbm)
{
    const auto height = std::clamp(dbm, LOWEST_DBM, HIGHEST_DBM) - LOWEST_DBM;
    const auto levels = static_cast<std::int64_t>(BLOCKS.size());
    return static_cast<std::size_t>(std::min(levels - 1, height * levels / (HIGHEST_DBM - LOWEST_DBM)));
}

auto newest(const SignalHistory& history, std::size_t columns)
{
    return history.end() - static_cast<std::ptrdiff_t>(std::min(columns, history.size()));
}

} // namespace

std::string sparkline(const SignalHistory& history, std::size_t columns, bool utf8)
{
    std::string line;
    for (auto sample = newest(history, columns); sample != history.end(); ++sample) {
        line += *sample ? (utf8 ? BLOCKS : LETTERS).at(level(**sample)) : " ";
    }
    return line;
}

std::string range_text(const SignalHistory& history, std::size_t columns)
{
    std::optional<std::int64_t> lowest;
    std::optional<std::int64_t> highest;
    for (auto sample = newest(history, columns); sample != history.end(); ++sample) {
        if (*sample) {
            lowest = std::min(lowest.value_or(**sample), **sample);
            highest = std::max(highest.value_or(**sample), **sample);
        }
    }
    return lowest ? std::to_string(*lowest) + " to " + std::to_string(*highest) + " dBm" : std::string();
}

} // namespace celldctl
