#include "at/fields.hpp"

#include "utils/strings.hpp"

#include <charconv>
#include <utility>

namespace at {
namespace {

template <class Number>
std::optional<Number> whole_number(const std::string& field, int base)
{
    std::string text = field;
    utils::trim(text); // a quoted field keeps its blanks
    if (text.size() > MAX_NUMBER_LENGTH) {
        return std::nullopt;
    }
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [parsed_to, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc{} || parsed_to != end) {
        return std::nullopt;
    }
    return number;
}

std::vector<Field> split(std::string_view text)
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

} // namespace

std::optional<int> Field::decimal() const
{
    return whole_number<int>(text, 10);
}

std::optional<std::uint32_t> Field::hex() const
{
    return whole_number<std::uint32_t>(text, 16);
}

Fields::Fields(std::string_view text) : fields_(split(text)) {}

Fields::Fields(const AtCommandResponse& response, const std::string& prefix)
    : Fields(response.payload(prefix))
{
}

const Field& Fields::operator[](std::size_t index) const
{
    static const Field NONE;
    return index < fields_.size() ? fields_[index] : NONE;
}

bool Fields::read(std::size_t index, int& value) const
{
    const auto number = (*this)[index].decimal();
    value = number.value_or(value);
    return number.has_value();
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
