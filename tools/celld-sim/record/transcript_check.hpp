#pragma once

#include "record/check_rule.hpp"

#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

namespace bench {

/// Reads a transcript line by line and keeps what broke a rule. A module is one that takes one command after
/// the other: whatever it answers, it owes nothing older.
class TranscriptCheck {
public:
    TranscriptCheck();

    /// A line without its end.
    void feed(std::string_view line);

    const std::vector<Violation>& violations() const { return violations_; }

private:
    std::vector<Violation> violations_;
    std::vector<std::unique_ptr<RuleGroup>> groups_;
};

/// @throws BenchError when the file cannot be read
std::vector<Violation> check_transcript(const std::filesystem::path& file);

} // namespace bench
