#pragma once

#include "record/check_rule.hpp"

#include <cstdint>
#include <deque>
#include <string>

namespace bench {

/// PACE: how many commands a minute holds.
class PaceRules final : public RuleGroup {
public:
    using RuleGroup::RuleGroup;

    void feed(const TranscriptLine& line) override;

private:
    void command(const TranscriptLine& line);

    std::deque<std::int64_t> last_minute_; ///< when commands were written
    std::int64_t eventful_ms_ = 0;         ///< the last time that something happened besides commands and OKs
};

} // namespace bench
