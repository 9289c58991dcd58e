#include "modem/escalation.hpp"

namespace {

struct Row {
    Cause cause;
    Verdict below;    // while the count is below the limit
    Verdict at_limit; // and from then on
    bool starts_anew; // the count, once the limit has had its effect
};

constexpr std::array<Row, CAUSE_COUNT> ROWS{{
    {Cause::RESET, Verdict::AGAIN, Verdict::END, false},
    {Cause::SIM_ERRORS, Verdict::RESET, Verdict::HARDWARE_ERROR, false},
    {Cause::SETTINGS_CHANGED, Verdict::RESET, Verdict::AGAIN, false},
    {Cause::DATA_PATH_CHANGED, Verdict::RESET, Verdict::RESET, false}, // the resets have their own limit
    // The hardware error is reported while the port is awaited once more: see `exhausted`.
    {Cause::PORT_ABSENT, Verdict::RESET, Verdict::RESET, false},
    {Cause::PORT_MUTE, Verdict::RESET, Verdict::RESET, false},
    {Cause::PORT_LOST, Verdict::AGAIN, Verdict::RESET, true},
    {Cause::CONTEXT_SET_UP_FAILED, Verdict::AGAIN, Verdict::RESET, true},
    {Cause::DATA_PATH_BUSY, Verdict::AGAIN, Verdict::GIVE_UP, true},
    {Cause::ACTIVATION_GIVEN_UP, Verdict::AGAIN, Verdict::RESET, true},
}};

constexpr bool in_order()
{
    for (std::size_t i = 0; i < ROWS.size(); ++i) {
        if (static_cast<std::size_t>(ROWS[i].cause) != i) {
            return false;
        }
    }
    return true;
}
static_assert(in_order());

} // namespace

Escalation::Escalation(const ModemLimits& limits) : limits_(limits) {}

std::uint32_t Escalation::limit(Cause cause) const
{
    switch (cause) {
    case Cause::RESET:
        return limits_.max_modem_reset;
    case Cause::SIM_ERRORS:
    case Cause::PORT_ABSENT:
    case Cause::PORT_MUTE:
        return limits_.max_modem_resets_before_dtc;
    case Cause::SETTINGS_CHANGED:
    case Cause::DATA_PATH_CHANGED:
        return MAX_RECONFIGURATIONS + 1;
    case Cause::PORT_LOST:
        return MAX_PORT_LOSSES;
    case Cause::CONTEXT_SET_UP_FAILED:
        return MAX_CONTEXT_FAILURES;
    case Cause::DATA_PATH_BUSY:
        return MAX_BUSY;
    case Cause::ACTIVATION_GIVEN_UP:
        return MAX_ACTIVATION_GIVEUPS;
    }
    return 0;
}

bool Escalation::exhausted(Cause cause) const
{
    return counts_[index(cause)] >= limit(cause);
}

Verdict Escalation::strike(Cause cause)
{
    const Row& row = ROWS[index(cause)];
    auto& count = counts_[index(cause)];
    ++count;
    if (!exhausted(cause)) {
        return row.below;
    }
    if (row.starts_anew) {
        count = 0;
    }
    return row.at_limit;
}
