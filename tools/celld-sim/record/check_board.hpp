#pragma once

#include "record/check_rule.hpp"

#include <cstdint>
#include <optional>

namespace bench {

/// SUPPLY, RADIO_SILENCE: when the module has its supply.
class BoardRules final : public RuleGroup {
public:
    using RuleGroup::RuleGroup;

    void feed(const TranscriptLine& line) override;

private:
    void board_line(const TranscriptLine& line);
    void note(const TranscriptLine& line);

    bool toby_ = false;
    bool up_ = false;           ///< the firmware runs
    bool known_ = false;        ///< the module has told its model since its port came
    bool asked_to_end_ = false; ///< "+CPWROFF" since it is up
    bool supply_ = false;
    std::optional<std::int64_t> silent_ms_{}; ///< no supply from then on
};

} // namespace bench
