#include "at/fields.hpp"

#include "utils/strings.hpp"

#include <charconv>
#include <utility>

namespace at {
namespace {

constexpr std::size_t FEW_FIELDS = 5; // of most reports

template <class Number>
std::optional<Number> whole_number(std::string_view field, int base)
{
    const auto text = utils::trimmed(field); // a quoted field keeps its blanks
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
    fields.reserve(FEW_FIELDS);
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

Fields::Fields(const AtCommandResponse& response, std::string_view prefix)
    : Fields(last_piece_of(response.message, prefix).value_or(response.value))
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

std::optional<std::string_view> last_piece_of(std::string_view message, std::string_view prefix)
{
    const auto is_start = [&](std::size_t at) { return message.substr(at + prefix.size()).starts_with(':'); };
    auto start = prefix.empty() ? std::string_view::npos : message.rfind(prefix);
    while (start != std::string_view::npos && !is_start(start)) {
        start = start > 0 ? message.rfind(prefix, start - 1) : std::string_view::npos;
    }
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    return utils::trimmed(message.substr(start + prefix.size() + 1));
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
