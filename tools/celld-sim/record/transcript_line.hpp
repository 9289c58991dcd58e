#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// One line of a transcript, read back.
struct TranscriptLine {
    std::int64_t at_ms = 0;
    std::string kind;
    std::vector<std::string> fields;

    /// Field `index`, empty when absent.
    std::string field(std::size_t index) const { return index < fields.size() ? fields[index] : ""; }

    /// Field `index` as a number; nothing when it is absent or not one.
    std::optional<std::int64_t> number(std::size_t index) const;
};

/// Nothing when the text does not begin with a time and a kind.
std::optional<TranscriptLine> parse_transcript_line(std::string_view text);

} // namespace bench
