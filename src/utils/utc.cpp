#include "utils/utc.hpp"

#include <array>
#include <charconv>
#include <cstdio>

namespace utils {
namespace {

namespace chrono = std::chrono;

constexpr std::string_view SHAPE = "dddd-dd-ddTdd:dd:dd.dddZ"; // d: a digit

bool has_shape(std::string_view text)
{
    if (text.size() != SHAPE.size()) {
        return false;
    }
    for (std::size_t i = 0; i < SHAPE.size(); ++i) {
        const bool is_digit = text[i] >= '0' && text[i] <= '9';
        if (SHAPE[i] == 'd' ? !is_digit : text[i] != SHAPE[i]) {
            return false;
        }
    }
    return true;
}

unsigned number(std::string_view text, std::size_t begin, std::size_t length)
{
    unsigned value = 0;
    std::from_chars(text.data() + begin, text.data() + begin + length, value);
    return value;
}

} // namespace

std::string utc_text(chrono::system_clock::time_point time)
{
    const auto day = chrono::floor<chrono::days>(time);
    const chrono::year_month_day date(day);
    const auto of_day = chrono::floor<chrono::milliseconds>(time - day).count();
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(of_day / 3'600'000),
                  static_cast<int>(of_day / 60'000 % 60), static_cast<int>(of_day / 1000 % 60),
                  static_cast<int>(of_day % 1000));
    return text.data();
}

std::optional<chrono::system_clock::time_point> utc_of(std::string_view text)
{
    if (!has_shape(text)) {
        return std::nullopt;
    }
    const chrono::year_month_day date(chrono::year(static_cast<int>(number(text, 0, 4))),
                                      chrono::month(number(text, 5, 2)), chrono::day(number(text, 8, 2)));
    if (!date.ok() || number(text, 11, 2) > 23 || number(text, 14, 2) > 59 || number(text, 17, 2) > 60) {
        return std::nullopt;
    }
    return chrono::sys_days(date) + chrono::hours(number(text, 11, 2)) +
           chrono::minutes(number(text, 14, 2)) + chrono::seconds(number(text, 17, 2)) +
           chrono::milliseconds(number(text, 20, 3));
}

} // namespace utils
