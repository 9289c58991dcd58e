#pragma once

#include "record/check_rule.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace bench {

/// FORM, ONE_AT_A_TIME, IN_STEP, PORT: which command may be written when.
class DialogueRules final : public RuleGroup {
public:
    using RuleGroup::RuleGroup;

    void feed(const TranscriptLine& line) override;

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

    std::map<std::int64_t, Open> open_;        ///< commands without an answer so far, by number
    std::optional<std::int64_t> unheard_ms_{}; ///< since then nobody has the port open
    bool up_ = false;                          ///< the firmware runs
};

} // namespace bench
