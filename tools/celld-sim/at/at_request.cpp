#include "at/at_request.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace bench {
namespace {

char upper(char c)
{
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

std::string_view trimmed(std::string_view text)
{
    const auto begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

/// Cuts at `separator` outside double quotes.
std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> pieces;
    std::size_t begin = 0;
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"') {
            quoted = !quoted;
        } else if (text[at] == separator && !quoted) {
            pieces.push_back(text.substr(begin, at - begin));
            begin = at + 1;
        }
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

std::string unquoted(std::string_view text)
{
    text = trimmed(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        text = text.substr(1, text.size() - 2);
    }
    return std::string(text);
}

void parse_tail(AtRequest& request, std::string_view tail)
{
    if (tail == "?") {
        request.form = Form::READ;
    } else if (tail == "=?") {
        request.form = Form::TEST;
    } else if (!tail.empty()) {
        request.form = Form::SET;
        for (const auto piece : split(tail.substr(1), ',')) {
            request.args.push_back(unquoted(piece));
        }
    }
}

AtRequest parse_request(std::string_view text)
{
    AtRequest request;
    request.text = std::string(text);
    if (text.size() <= 2 && upper(text.front()) == 'E') {
        request.name = "E";
        request.form = Form::SET;
        request.args.emplace_back(
            text.substr(1)); // the number follows without '='; absent means 0 (V.250, 5.3.1)
        return request;
    }
    if (text.front() == '+') {
        const auto end = std::min(text.find_first_of("?="), text.size());
        const auto name = trimmed(text.substr(0, end));
        std::transform(name.begin(), name.end(), std::back_inserter(request.name), upper);
        parse_tail(request, text.substr(end));
    }
    return request;
}

} // namespace

std::optional<int> AtRequest::number(std::size_t index) const
{
    if (!has(index)) {
        return std::nullopt;
    }
    const auto& digits = args[index];
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool whole = error == std::errc() && end == digits.data() + digits.size();
    return whole ? std::optional(value) : std::nullopt;
}

std::optional<int> AtRequest::number(std::size_t index, int low, int high) const
{
    const auto value = number(index);
    return value && *value >= low && *value <= high ? value : std::nullopt;
}

std::vector<AtRequest> parse_command_line(std::string_view line)
{
    std::vector<AtRequest> requests;
    for (const auto piece : split(line, ';')) {
        if (const auto text = trimmed(piece); !text.empty()) {
            requests.push_back(parse_request(text));
        }
    }
    return requests;
}

bool starts_with_ignoring_case(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(),
                                                      [](char a, char b) { return upper(a) == upper(b); });
}

} // namespace bench
