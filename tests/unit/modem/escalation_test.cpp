#include "modem/escalation.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

using V = Verdict;

ModemLimits limits()
{
    ModemLimits limits;
    limits.max_modem_reset = 3;
    limits.max_modem_resets_before_dtc = 2;
    return limits;
}

struct Row {
    const char* name;
    Cause cause;
    std::vector<V> verdicts; // of strikes in a row
    std::function<void(Escalation&)> forgiven_by;
};

const std::vector<Row> ROWS{
    {"reset", Cause::RESET, {V::AGAIN, V::AGAIN, V::END, V::END}, nullptr},
    {"SIM", Cause::SIM_ERRORS, {V::RESET, V::HARDWARE_ERROR, V::HARDWARE_ERROR}, nullptr},
    {"setting", Cause::SETTINGS_CHANGED, {V::RESET, V::RESET, V::RESET, V::AGAIN, V::AGAIN}, nullptr},
    {"port absent", Cause::PORT_ABSENT, {V::RESET, V::RESET}, [](auto& e) { e.port_appeared(); }},
    {"port lost", Cause::PORT_LOST, {V::AGAIN, V::AGAIN, V::AGAIN, V::AGAIN, V::RESET, V::AGAIN}, nullptr},
    {"context",
     Cause::CONTEXT_SET_UP_FAILED,
     {V::AGAIN, V::AGAIN, V::AGAIN, V::AGAIN, V::RESET, V::AGAIN},
     [](auto& e) { e.context_set_up(); }},
};

std::vector<V> strikes(Escalation& escalation, Cause cause, std::size_t count)
{
    std::vector<V> verdicts;
    while (verdicts.size() < count) {
        verdicts.push_back(escalation.strike(cause));
    }
    return verdicts;
}

} // namespace

TEST(Escalation, JudgesEachCauseAndForgetsItWithAConnection)
{
    for (const auto& row : ROWS) {
        Escalation escalation{limits()};
        EXPECT_EQ(strikes(escalation, row.cause, row.verdicts.size()), row.verdicts) << row.name;
        escalation.forgive();
        EXPECT_EQ(strikes(escalation, row.cause, row.verdicts.size()), row.verdicts) << row.name << " again";
    }
}

TEST(Escalation, ForgivesOneCauseForWhatEndsIt)
{
    for (const auto& row : ROWS) {
        if (row.forgiven_by) {
            Escalation escalation{limits()};
            static_cast<void>(escalation.strike(Cause::SIM_ERRORS));
            static_cast<void>(escalation.strike(row.cause));
            row.forgiven_by(escalation);
            EXPECT_EQ(escalation.count(row.cause), 0U) << row.name;
            EXPECT_FALSE(escalation.exhausted(row.cause)) << row.name;
            EXPECT_EQ(escalation.count(Cause::SIM_ERRORS), 1U) << row.name;
        }
    }
    Escalation busy{limits()};
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(strikes(busy, Cause::DATA_PATH_BUSY, 19), std::vector<V>(19, V::AGAIN));
        round == 0 ? busy.powered_up() : busy.data_path_free();
    }
    EXPECT_EQ(strikes(busy, Cause::DATA_PATH_BUSY, 20).back(), V::GIVE_UP);
    EXPECT_EQ(busy.strike(Cause::DATA_PATH_BUSY), V::AGAIN);
}
