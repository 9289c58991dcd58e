#include "at/fields.hpp"

#include "utils/strings.hpp"

#include <charconv>
#include <utility>

namespace at {
namespace {

constexpr std::size_t MAX_FIELDS = 32;

template <class Number>
std::optional<Number> whole_number(const std::string& text, int base)
{
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [parsed_to, error] = std::from_chars(text.data(), end, number, base);
    if (text.empty() || error != std::errc{} || parsed_to != end) {
        return std::nullopt;
    }
    return number;
}

} // namespace

std::optional<int> Field::decimal() const
{
    return whole_number<int>(text, 10);
}

std::optional<std::uint32_t> Field::hex() const
{
    return whole_number<std::uint32_t>(text, 16);
}

std::vector<Field> split_fields(std::string_view text)
{
    std::vector<Field> fields;
    Field field;
    bool inside = false;
    const auto finish = [&] {
        if (!field.quoted) {
            utils::trim(field.text);
        }
        fields.push_back(std::exchange(field, Field{}));
    };
    for (const char c : text) {
        if (c == '"') {
            inside = !inside;
            if (inside && !field.quoted) {
                field.text.clear(); // blanks in front of the quote
                field.quoted = true;
            }
        } else if (c == ',' && !inside) {
            finish();
            if (fields.size() == MAX_FIELDS) {
                return fields;
            }
        } else if (inside || !field.quoted) {
            field.text += c;
        }
    }
    finish();
    return fields;
}

std::vector<std::string> pieces_of(const std::string& message, const std::string& prefix)
{
    std::vector<std::string> pieces;
    if (prefix.empty()) {
        return pieces;
    }
    const std::string start = prefix + ":";
    std::size_t pos = message.find(start);
    while (pos != std::string::npos) {
        const std::size_t begin = pos + start.size();
        pos = message.find(start, begin);
        std::string piece = message.substr(begin, pos == std::string::npos ? pos : pos - begin);
        utils::trim(piece);
        pieces.push_back(std::move(piece));
    }
    return pieces;
}

} // namespace at
