#include "fields.hpp"

#include "utils/strings.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <ctime>

namespace celldctl {

namespace {

std::string hex_byte(unsigned byte)
{
    std::array<char, 3> digits{};
    static_cast<void>(std::snprintf(digits.data(), digits.size(), "%02x", byte & 0xffU));
    return digits.data();
}

/// The control characters U+0080 to U+009F, which some terminals obey: 0xc2 and the character's byte in
/// UTF-8.
std::string without_c1(const std::string& utf8)
{
    std::string out;
    for (std::size_t pos = 0; pos < utf8.size(); ++pos) {
        const auto next = pos + 1 < utf8.size() ? static_cast<unsigned char>(utf8[pos + 1]) : 0U;
        if (utf8[pos] == '\xc2' && next < 0xa0U) {
            out += "\\x" + hex_byte(next);
            ++pos;
        } else {
            out += utf8[pos];
        }
    }
    return out;
}

} // namespace

void Fields::add(std::string_view name, std::string_view word)
{
    if (!line_.empty()) {
        line_ += ' ';
    }
    line_.append(name).append("=").append(word);
}

void Fields::add_number(std::string_view name, std::int64_t number)
{
    add(name, std::to_string(number));
}

void Fields::add_text(std::string_view name, std::string_view text)
{
    add(name, '"' + printable(text) + '"');
}

std::string printable(std::string_view text)
{
    std::string out;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            out += '\\';
            out += character;
        } else if (byte < 0x20 || byte == 0x7f) {
            out += "\\x" + hex_byte(byte);
        } else {
            out += character;
        }
    }
    return without_c1(utils::to_valid_utf8(out));
}

std::string hex(const ecu::kova::com::Message::Payload& bytes)
{
    constexpr std::size_t MOST_BYTES = 32; // enough to recognise what it is
    std::string out;
    for (std::size_t index = 0; index < std::min(bytes.size(), MOST_BYTES); ++index) {
        out += (out.empty() ? "" : " ") + hex_byte(bytes[index]);
    }
    return bytes.size() > MOST_BYTES ? out + " ..." : out;
}

std::string utc_time(std::int64_t microseconds_since_epoch)
{
    constexpr std::int64_t US_PER_S = 1'000'000;
    const std::time_t seconds = microseconds_since_epoch / US_PER_S;
    std::tm utc{};
    std::array<char, 64> text{};
    if (gmtime_r(&seconds, &utc) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) {
        return "out of range";
    }
    return text.data();
}

} // namespace celldctl
