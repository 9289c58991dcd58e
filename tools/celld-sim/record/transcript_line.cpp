#include "record/transcript_line.hpp"

#include <algorithm>
#include <charconv>

namespace bench {
namespace {

std::optional<std::int64_t> whole_number(std::string_view text)
{
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<std::int64_t> TranscriptLine::number(std::size_t index) const
{
    return whole_number(field(index));
}

std::optional<TranscriptLine> parse_transcript_line(std::string_view text)
{
    std::vector<std::string> pieces;
    for (auto tab = text.find('\t'); tab != std::string_view::npos; tab = text.find('\t')) {
        pieces.emplace_back(text.substr(0, tab));
        text.remove_prefix(tab + 1);
    }
    pieces.emplace_back(text);
    const auto time = whole_number(pieces.front());
    if (!time || pieces.size() < 2 || pieces[1].empty()) {
        return std::nullopt;
    }
    return TranscriptLine{.at_ms = *time, .kind = pieces[1], .fields = {pieces.begin() + 2, pieces.end()}};
}

} // namespace bench
