#pragma once

#include "record/transcript_line.hpp"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// What must hold in every transcript of a daemon on the bench.
enum class Rule {
    FORM,          ///< the lines read, and an answer has a command that was written
    ONE_AT_A_TIME, ///< no command while another is unanswered and its time-out is not over
    IN_STEP,       ///< after a time-out none but a probe until the module answers one and nothing is owed
    SUPPLY,        ///< not taken from a running module without "+CPWROFF"
    LAST_ATTEMPT,  ///< no "+CPIN=" when one attempt is left
};

struct Violation {
    Rule rule;
    std::string text; ///< with its time
};

/// Reads a transcript line by line and keeps what broke a rule. A module is one that takes one command after
/// the other: whatever it answers, it owes nothing older.
class TranscriptCheck {
public:
    /// A line without its end.
    void feed(std::string_view line);

    const std::vector<Violation>& violations() const { return violations_; }

private:
    struct Open {
        std::string text;
        std::int64_t written_ms = 0;
        bool this_session = true; ///< the port was not closed since
    };

    void command(const TranscriptLine& line);
    void answer(const TranscriptLine& line);
    void unanswered(const TranscriptLine& line);
    void port(const TranscriptLine& line);
    void module(const TranscriptLine& line);
    void board_line(const TranscriptLine& line);
    void pin(const TranscriptLine& line);
    void broken(Rule rule, const TranscriptLine& line, const std::string& text);

    std::vector<Violation> violations_;
    std::map<std::int64_t, Open> open_; ///< commands without an answer so far, by number
    bool up_ = false;                   ///< the firmware runs
    bool known_ = false;                ///< the module has told its model since its port came
    bool asked_to_end_ = false;         ///< "+CPWROFF" since it is up
};

/// @throws BenchError when the file cannot be read
std::vector<Violation> check_transcript(const std::filesystem::path& file);

} // namespace bench
