#include "fields.hpp"

#include "utils/strings.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <utility>

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
    fields_.push_back({std::string(name), std::string(word), std::string(word)});
}

void Fields::add_number(std::string_view name, std::int64_t number)
{
    fields_.push_back({std::string(name), number, std::to_string(number)});
}

void Fields::add_text(std::string_view name, std::string_view text)
{
    fields_.push_back({std::string(name), std::string(text), '"' + printable(text) + '"'});
}

void Fields::add_list(std::string_view name, std::vector<Fields> list)
{
    std::string shown;
    for (const auto& fields : list) {
        shown += (shown.empty() ? "" : " ") + fields.line();
    }
    fields_.push_back({std::string(name), std::move(list), std::move(shown)});
}

void Fields::add_gone(std::string_view name)
{
    fields_.push_back({std::string(name), nullptr, "--"});
}

std::string Fields::line() const
{
    std::string line;
    for (const auto& field : fields_) {
        const bool is_list = std::holds_alternative<std::vector<Fields>>(field.value);
        const auto pair = is_list ? field.shown : field.name + "=" + field.shown;
        line += (line.empty() || pair.empty() ? "" : " ") + pair;
    }
    return line;
}

Fields Fields::changed_since(const Fields& before) const
{
    Fields changed;
    for (const auto& field : fields_) {
        const auto* const old = before.find(field.name);
        if (old == nullptr || old->shown != field.shown) {
            changed.fields_.push_back(field);
        }
    }
    for (const auto& old : before.fields_) {
        if (find(old.name) == nullptr) {
            changed.add_gone(old.name);
        }
    }
    return changed;
}

void Fields::drop(std::string_view name)
{
    std::erase_if(fields_, [name](const auto& field) { return field.name == name; });
}

const Fields::Field* Fields::find(std::string_view name) const
{
    const auto found = std::find_if(fields_.begin(), fields_.end(),
                                    [name](const auto& field) { return field.name == name; });
    return found == fields_.end() ? nullptr : &*found;
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
