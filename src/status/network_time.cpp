#include "status/network_time.hpp"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <string_view>
#include <utility>

namespace {

constexpr int TWO_DIGIT_PIVOT = 70; // 70 to 99 are 19xx
constexpr int CENTURY = 100;
constexpr int TM_BASE_YEAR = 1900;
constexpr int FIRST_CREDIBLE_YEAR = 2015;
constexpr int QUARTERS_PER_HOUR = 4;
constexpr std::int64_t US_PER_S = 1'000'000;

struct Reading {
    std::tm time{}; ///< as it stands there: neither month nor year as tm counts them
    char sign = '+';
    int quarters = 0;
};

/// yy/MM/dd,hh:mm:ss±zz, quoted or not. What is behind it does not matter.
std::optional<Reading> read(std::string_view text)
{
    Reading reading;
    auto& time = reading.time;
    const std::pair<int*, std::string_view> items[] = {
        {&time.tm_year, "/"}, {&time.tm_mon, "/"},  {&time.tm_mday, ","},    {&time.tm_hour, ":"},
        {&time.tm_min, ":"},  {&time.tm_sec, "+-"}, {&reading.quarters, ""},
    };
    for (const auto& [number, separators] : items) {
        text.remove_prefix(std::min(text.find_first_not_of("\" "), text.size()));
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
        if (error != std::errc{}) {
            return std::nullopt;
        }
        text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
        if (separators.empty()) {
            break;
        }
        if (text.empty() || separators.find(text[0]) == std::string_view::npos) {
            return std::nullopt;
        }
        reading.sign = text[0];
        text.remove_prefix(1);
    }
    return reading;
}

bool in_range(const std::tm& time, int quarters)
{
    return time.tm_year >= 0 && time.tm_mon >= 0 && time.tm_mon <= 11 && time.tm_mday >= 1 &&
           time.tm_mday <= 31 && time.tm_hour >= 0 && time.tm_hour <= 23 && time.tm_min >= 0 &&
           time.tm_min <= 59 && time.tm_sec >= 0 && time.tm_sec <= 60 && quarters >= 0 && quarters <= 96;
}

} // namespace

std::optional<std::int64_t> parse_network_time_us(const std::string& value)
{
    const auto reading = read(value);
    if (!reading) {
        return std::nullopt;
    }
    auto [time, sign, quarters] = *reading;
    time.tm_mon -= 1;
    if (!in_range(time, quarters) || time.tm_year >= CENTURY) {
        return std::nullopt;
    }
    if (time.tm_year < TWO_DIGIT_PIVOT) {
        time.tm_year += CENTURY;
    }
    if (time.tm_year + TM_BASE_YEAR < FIRST_CREDIBLE_YEAR) {
        return std::nullopt;
    }
    const int hours = quarters / QUARTERS_PER_HOUR;
    time.tm_hour += sign == '+' ? -hours : hours;
    const std::time_t seconds = std::mktime(&time);
    return seconds == static_cast<std::time_t>(-1) ? std::nullopt : std::optional(seconds * US_PER_S);
}
