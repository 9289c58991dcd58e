#include "modem/decisions.hpp"
#include "modem/modem_limits.hpp"
#include "status/antenna_limits.hpp"

#include <gtest/gtest.h>

// What no recorded dialogue comes to.
TEST(Decisions, NeitherVoiceAloneNorEmergenciesAreAConnectionOrALoss)
{
    for (const auto& [cs, before] : {std::pair{1, ModemState::REGISTERING},
                                     {8, ModemState::REGISTERING},
                                     {8, ModemState::SEARCHING},
                                     {1, ModemState::CONNECTED}}) {
        ModemData::NwRegStatus status;
        status.c_reg = cs;
        status.cg_reg = 0;
        EXPECT_EQ(decisions::by_registration(before, status, false), before) << cs;
    }
}

TEST(Settings, TakeLeadingDigitsAndNothingElse)
{
    EXPECT_EQ(settings::leading_unsigned("12abc"), 12U);
    EXPECT_EQ(settings::leading_unsigned("4294967295"), 4294967295U);
    for (const char* text : {"", "abc", "-1", "+1", " 1", "4294967296"}) {
        EXPECT_EQ(settings::leading_unsigned(text), std::nullopt) << text;
    }
    ecu::kova::config::Configuration configuration;
    configuration.set("max_sim_errors", "0"); // would act on every pass
    configuration.set("modem_restart_timeout", "0");
    const auto limits = ModemLimits::read(configuration);
    EXPECT_EQ(limits.max_sim_errors, 5U);
    EXPECT_EQ(limits.modem_restart_timeout, 0U);
}

TEST(AntennaLimits, CombineTwoAntennasInParallelRoundedUp)
{
    const auto both = antenna_limits({10, 100}, {10, 50}, true);
    ASSERT_TRUE(both);
    EXPECT_EQ(both->min, 5);
    EXPECT_EQ(both->max, 34); // 33.3
    EXPECT_EQ(antenna_limits({10, 100}, {}, false)->max, 100);
    EXPECT_FALSE(antenna_limits({10, 100}, {10, std::nullopt}, true));
    EXPECT_FALSE(antenna_limits({100, 10}, {}, false));
    EXPECT_FALSE(antenna_limits({-1, 10}, {}, false));
}
