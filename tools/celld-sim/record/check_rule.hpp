#pragma once

#include "record/transcript_line.hpp"

#include <string>
#include <vector>

namespace bench {

/// What must hold in every transcript of a daemon on the bench.
enum class Rule {
    FORM,          ///< the lines read, and an answer has a command that was written
    ONE_AT_A_TIME, ///< no command while another is unanswered and its time-out is not over
    IN_STEP,       ///< after a time-out none but a probe until the module answers one and nothing is owed
    PORT,          ///< no command while nobody has the port open
    PACE,          ///< no more commands a minute than a cold boot sends, and fewer while nothing happens
    SUPPLY,        ///< not taken from a running module without "+CPWROFF"
    RADIO_SILENCE, ///< no supply from its bound after "blackout on" until "blackout off"
    LAST_ATTEMPT,  ///< no "+CPIN=" when one attempt is left
    WRONG_PIN,     ///< none that the card has refused
};

struct Violation {
    Rule rule;
    std::string text; ///< with its time
};

/// Rules that look at the same events. Fed with every line, in order.
class RuleGroup {
public:
    explicit RuleGroup(std::vector<Violation>& violations) : violations_(violations) {}
    virtual ~RuleGroup() = default;
    RuleGroup(const RuleGroup&) = delete;
    RuleGroup& operator=(const RuleGroup&) = delete;

    virtual void feed(const TranscriptLine& line) = 0;

protected:
    void broken(Rule rule, const TranscriptLine& line, const std::string& text)
    {
        violations_.push_back({rule, std::to_string(line.at_ms) + " ms: " + text});
    }

    static std::string quoted(const std::string& text) { return "'" + text + "'"; }

private:
    std::vector<Violation>& violations_;
};

} // namespace bench
