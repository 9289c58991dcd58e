#include "format.hpp"

#include <array>
#include <cstddef>
#include <cstdio>

namespace ecu::kova::logging {

std::string escaped(std::string_view text)
{
    constexpr const char* DIGITS = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\n' || (byte >= 0x20 && byte < 0x7f)) {
            out += character;
        } else {
            out += "\\x";
            out += DIGITS[byte >> 4U];
            out += DIGITS[byte & 0xfU];
        }
    }
    return out;
}

std::string stream_line(const timespec& time, Level level, const std::string& module, const std::string& text)
{
    constexpr long NS_PER_MS = 1'000'000;
    std::tm utc{};
    gmtime_r(&time.tv_sec, &utc);
    std::array<char, 64> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 8> fraction{};
    static_cast<void>(
        std::snprintf(fraction.data(), fraction.size(), ".%03ldZ", (time.tv_nsec / NS_PER_MS) % 1000));
    std::string line(date.data(), length);
    line += fraction.data();
    line += ' ';
    line += to_str(level);
    line += ' ';
    line += module;
    line += ": ";
    line += text;
    line += '\n';
    return line;
}

std::string dropped_text(std::uint64_t count)
{
    return std::to_string(count) + " records were dropped: nobody read them";
}

} // namespace ecu::kova::logging
