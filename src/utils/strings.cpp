#include "utils/strings.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <system_error>

namespace utils {
namespace {

bool is_space(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string_view without_front_blanks(std::string_view text)
{
    while (!text.empty() && is_space(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view without_back_blanks(std::string_view text)
{
    while (!text.empty() && is_space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool is_control(unsigned char c)
{
    return c < 0x20 || c == 0x7f;
}

/// Length of the well-formed UTF-8 sequence at `pos` (Unicode standard, table 3-7), 0 when there is none.
std::size_t utf8_sequence(std::string_view text, std::size_t pos)
{
    const auto byte = [&](std::size_t i) -> unsigned {
        return pos + i < text.size() ? static_cast<unsigned char>(text[pos + i]) : 0U;
    };
    const auto tail = [&](std::size_t i) { return byte(i) >= 0x80 && byte(i) <= 0xbf; };
    const unsigned lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xc2 && lead <= 0xdf) {
        return tail(1) ? 2 : 0;
    }
    if (lead >= 0xe0 && lead <= 0xef) {
        const bool overlong = lead == 0xe0 && byte(1) < 0xa0;
        const bool surrogate = lead == 0xed && byte(1) > 0x9f;
        return tail(1) && tail(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (lead >= 0xf0 && lead <= 0xf4) {
        const bool overlong = lead == 0xf0 && byte(1) < 0x90;
        const bool too_large = lead == 0xf4 && byte(1) > 0x8f;
        return tail(1) && tail(2) && tail(3) && !overlong && !too_large ? 4 : 0;
    }
    return 0;
}

} // namespace

void replace(std::string& text, const std::string& from, const std::string& to)
{
    if (from.empty()) {
        return;
    }
    for (std::size_t pos = text.find(from); pos != std::string::npos;
         pos = text.find(from, pos + to.size())) {
        text.replace(pos, from.size(), to);
    }
}

std::string replace_crlf(const std::string& text)
{
    std::string visible = text;
    replace(visible, "\r", "<CR>");
    replace(visible, "\n", "<LF>");
    return visible;
}

void ltrim(std::string& text)
{
    text.erase(0, text.size() - without_front_blanks(text).size());
}

void rtrim(std::string& text)
{
    text.resize(without_back_blanks(text).size());
}

void trim(std::string& text)
{
    rtrim(text);
    ltrim(text);
}

std::string_view trimmed(std::string_view text)
{
    return without_front_blanks(without_back_blanks(text));
}

std::string lower_case(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::set<std::string> split_as(const std::string& text, char separator)
{
    std::set<std::string> pieces;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        std::string piece = text.substr(begin, end - begin);
        trim(piece);
        if (!piece.empty()) {
            pieces.insert(std::move(piece));
        }
        begin = end + 1;
    }
    return pieces;
}

std::string errno_text(const std::string& what)
{
    const int code = errno;
    return what + ": " + std::generic_category().message(code) + " (" + std::to_string(code) + ")";
}

std::string to_valid_utf8(std::string_view text)
{
    std::string valid;
    valid.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t length = utf8_sequence(text, pos);
        if (length == 0) {
            valid += "\xef\xbf\xbd"; // U+FFFD REPLACEMENT CHARACTER
        } else if (length == 1 && is_control(static_cast<unsigned char>(text[pos]))) {
            valid += ' ';
        } else {
            valid += text.substr(pos, length);
        }
        pos += length == 0 ? 1 : length;
    }
    return valid;
}

} // namespace utils
