#include "key_value_lines.hpp"

#include <cstddef>
#include <string_view>

namespace ecu::kova::config {

namespace {

// Far above any real file: they keep a device or a runaway generator in the file's place from filling memory.
constexpr std::size_t LONGEST_LINE = 64UL * 1024UL; // bytes
constexpr std::size_t MOST_LINES = 16UL * 1024UL;

constexpr const char* BYTE_ORDER_MARK = "\xef\xbb\xbf"; // what some editors put in front of UTF-8

/// As std::getline, but no further than the longest line. Its room grows with the line: the files are read
/// again and again.
std::istream& get_line(std::istream& input, std::string& line)
{
    line.clear();
    for (char next = 0; input.get(next) && next != '\n'; line += next) {
        if (line.size() == LONGEST_LINE) {
            input.setstate(std::ios::failbit);
            return input;
        }
    }
    if (input.eof() && !line.empty()) { // the last line may lack its break
        input.clear(std::ios::eofbit);
    }
    return input;
}

} // namespace

std::string without_blanks(const std::string& text)
{
    constexpr const char* BLANKS = " \t\r\f\v";
    const auto first = text.find_first_not_of(BLANKS);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

void read_key_value_lines(std::istream& input,
                          const std::function<void(const std::string& key, const std::string& value)>& pair,
                          const std::function<bool(const std::string& text)>& fault)
{
    std::string line;
    std::size_t number = 0;
    while (get_line(input, line)) {
        const std::string where = "line " + std::to_string(++number) + ": ";
        if (number > MOST_LINES) {
            fault(where + "the file is too long");
            return;
        }
        if (number == 1 && line.starts_with(BYTE_ORDER_MARK)) {
            line.erase(0, std::string_view(BYTE_ORDER_MARK).size());
        }
        if (line.starts_with('#') || without_blanks(line).empty()) {
            continue;
        }
        const auto equals = line.find('=');
        const std::string key = without_blanks(line.substr(0, equals));
        if (equals != std::string::npos && !key.empty()) {
            pair(key, without_blanks(line.substr(equals + 1)));
        } else if (!fault(where + (key.empty() ? "no key in front of '='" : "no '=' in it"))) {
            return;
        }
    }
    if (input.bad()) {
        fault("cannot be read");
    } else if (!input.eof()) {
        fault("line " + std::to_string(number + 1) + ": the line is too long");
    }
}

} // namespace ecu::kova::config
