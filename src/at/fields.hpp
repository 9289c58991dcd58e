#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A tolerant reader for the comma-separated values behind an answer's prefix (3GPP TS 27.007, 4.1): real
/// modules pad numbers, leave quotes out, or send empty fields, where a scanf format stops at the first
/// surprise.
namespace at {

struct Field {
    std::string text; ///< without quotes and surrounding blanks
    bool quoted = false;

    bool empty() const { return text.empty(); }
    /// The whole field as a decimal number; nothing when it is not one or does not fit.
    std::optional<int> decimal() const;
    /// The whole field as a hexadecimal number, as 27.007 writes area codes and cells.
    std::optional<std::uint32_t> hex() const;
};

/// Splits at commas outside quotes. A quote that is never closed ends with the text. Fields beyond the 32nd
/// are dropped: no answer has as many.
std::vector<Field> split_fields(std::string_view text);

/// The pieces of an answer that start with "<prefix>:", without prefix and blanks in front, oldest first.
std::vector<std::string> pieces_of(const std::string& message, const std::string& prefix);

} // namespace at
