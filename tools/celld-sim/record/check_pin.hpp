#pragma once

#include "record/check_rule.hpp"

#include <set>
#include <string>

namespace bench {

/// LAST_ATTEMPT, WRONG_PIN: what a card's attempts are spent on.
class PinRules final : public RuleGroup {
public:
    using RuleGroup::RuleGroup;

    void feed(const TranscriptLine& line) override;

private:
    std::set<std::string> refused_; ///< entries that the card has called wrong
};

} // namespace bench
