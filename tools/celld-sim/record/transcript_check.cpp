#include "record/transcript_check.hpp"

#include "base/files.hpp"
#include "record/check_board.hpp"
#include "record/check_dialogue.hpp"
#include "record/check_pace.hpp"
#include "record/check_pin.hpp"

#include <fstream>
#include <string>

namespace bench {

TranscriptCheck::TranscriptCheck()
{
    groups_.push_back(std::make_unique<DialogueRules>(violations_));
    groups_.push_back(std::make_unique<PaceRules>(violations_));
    groups_.push_back(std::make_unique<BoardRules>(violations_));
    groups_.push_back(std::make_unique<PinRules>(violations_));
}

void TranscriptCheck::feed(std::string_view text)
{
    const auto line = parse_transcript_line(text);
    if (!line) {
        violations_.push_back({Rule::FORM, "no line of a transcript: '" + std::string(text) + "'"});
        return;
    }
    for (const auto& group : groups_) {
        group->feed(*line);
    }
}

std::vector<Violation> check_transcript(const std::filesystem::path& file)
{
    std::ifstream lines(file);
    if (!lines) {
        throw_errno("unable to read " + file.string());
    }
    TranscriptCheck check;
    for (std::string line; std::getline(lines, line);) {
        check.feed(line);
    }
    return check.violations();
}

} // namespace bench
