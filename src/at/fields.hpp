#pragma once

#include "at/at_command_response.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The one reader of what stands behind a prefix, in answers and in unsolicited results alike (3GPP
/// TS 27.007, 4.1; ITU-T V.250, 5.4.2): fields separated by commas. Real modules pad numbers, leave quotes
/// out or send empty fields, where a scanf format stops at the first surprise.
///
/// - Blanks around a field do not count. A field that begins with a double quote goes up to the next one and
///   may hold commas and blanks; a quote that is never closed ends with the line. There are no escapes.
/// - A decimal number is digits with a minus sign or none; a hexadecimal number is digits without sign and
///   "0x", as 27.007 writes areas and cells. Either may be quoted, and padded with zeros or blanks.
/// - No number, and so missing: an empty field, one with anything else in it, a value that does not fit, and
///   more than MAX_NUMBER_LENGTH characters.
/// - Fields beyond MAX_FIELDS are dropped.
///
/// Pure; any thread.
namespace at {

constexpr std::size_t MAX_FIELDS = 32;        ///< no answer has as many
constexpr std::size_t MAX_NUMBER_LENGTH = 16; ///< longer is an identity (IMEI, ICCID), not a number

struct Field {
    std::string text; ///< without quotes and surrounding blanks
    bool quoted = false;

    bool empty() const { return text.empty(); }
    /// The whole field as a number, or nothing.
    std::optional<int> decimal() const;
    std::optional<std::uint32_t> hex() const;
};

class Fields {
public:
    /// Of the text behind a prefix.
    explicit Fields(std::string_view text);
    /// Of `response.payload(prefix)`.
    Fields(const AtCommandResponse& response, std::string_view prefix);

    /// At least 1: an empty text is one empty field.
    std::size_t size() const { return fields_.size(); }
    /// An empty field beyond the last.
    const Field& operator[](std::size_t index) const;
    /// True when the field is a decimal number; a missing one keeps what was.
    bool read(std::size_t index, int& value) const;

private:
    std::vector<Field> fields_;
};

/// The pieces of an answer that start with "<prefix>:", without prefix and blanks in front, oldest first.
std::vector<std::string> pieces_of(const std::string& message, const std::string& prefix);
/// The last of them, of which there may be none. Refers to the message.
std::optional<std::string_view> last_piece_of(std::string_view message, std::string_view prefix);

} // namespace at
