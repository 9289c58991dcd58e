#include "fleet/unit_record.hpp"

namespace celldctl {

const char* word(Condition condition)
{
    return CONDITION_WORDS.at(static_cast<std::size_t>(condition));
}

std::optional<std::string> state_word(const UnitRecord& unit)
{
    return unit.state ? std::optional(ecu::kova::pb::ModemStatus::ModemState_Name(*unit.state))
                      : std::nullopt;
}

} // namespace celldctl
