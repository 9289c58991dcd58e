#include "modem/decisions.hpp"
#include "modem/modem_limits.hpp"
#include "modem/state_table.hpp"
#include "modem/urc_queue.hpp"
#include "status/antenna_limits.hpp"

#include <gtest/gtest.h>

using S = ModemState;

TEST(Transitions, FollowTheRowsAndAlwaysAllowOff)
{
    EXPECT_TRUE(is_transition_allowed(S::DTC_HW_ERROR, S::OFF));
    EXPECT_TRUE(is_transition_allowed(S::RESET, S::POWER_OFF));
    EXPECT_FALSE(is_transition_allowed(S::RESET, S::POWER_ON));
    EXPECT_FALSE(is_transition_allowed(S::BACKOFF, S::SEARCHING));
    EXPECT_TRUE(is_transition_allowed(S::BACKOFF, S::REGISTERING));
    EXPECT_FALSE(is_transition_allowed(S::WAITING_FOR_SIM, S::REGISTERING));
    EXPECT_FALSE(is_transition_allowed(S::REGISTERING, S::BACKOFF));
    EXPECT_TRUE(is_transition_allowed(S::CONNECTED, S::WAITING_FOR_SIM));
    EXPECT_EQ(state_text(static_cast<S>(77)), "");
}

TEST(Decisions, JudgeByTheBestDomain)
{
    struct Case {
        const char* name;
        int cs, ps, eps;
        S from, to;
    };
    for (const auto& c : {
             Case{"EPS-only subscription", 0, 0, 1, S::REGISTERING, S::REGISTERED},
             Case{"EPS-only stays connected", 0, 4, 5, S::CONNECTED, S::CONNECTED},
             Case{"voice without packets", 1, 0, 4, S::REGISTERING, S::REGISTERING},
             Case{"roaming with GPRS", 5, 5, 4, S::SEARCHING, S::REGISTERED},
             Case{"denied", 3, 0, 4, S::REGISTERING, S::DISCONNECTED},
             Case{"emergency only", 8, 0, 4, S::SEARCHING, S::SEARCHING},
             Case{"lost while connected", 0, 0, 4, S::CONNECTED, S::REGISTERING},
             Case{"not the modem's business yet", 1, 1, 4, S::WAITING_FOR_SIM, S::WAITING_FOR_SIM},
         }) {
        ModemData::NwRegStatus status;
        status.c_reg = c.cs;
        status.cg_reg = c.ps;
        status.ce_reg = c.eps;
        EXPECT_EQ(decisions::by_registration(c.from, status, false), c.to) << c.name;
    }
    ModemData::NwRegStatus searching;
    searching.c_reg = 2;
    EXPECT_EQ(decisions::by_registration(S::REGISTERING, searching, true), S::SEARCHING);
    EXPECT_EQ(decisions::by_registration(S::SEARCHING, searching, false), S::REGISTERING);
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

TEST(UrcQueueOf, TheNewestDropsTheOldestByCountAndBySize)
{
    const auto report = [](const std::string& text) {
        return AtCommandResponse(AtCommandResponse::Type::Unsolicited, text, "");
    };
    UrcQueue queue;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i <= 4096; ++i) {
            queue.push(report(std::to_string(i)));
        }
        const auto all = queue.take_all();
        EXPECT_EQ(all.size(), 4096U);
        EXPECT_EQ(all.front().message, "1");
        queue.push(report(std::string(256 * 1024, 'x')));
        EXPECT_EQ(queue.take_all().size(), 1U);
        queue.push(report("first"));
        queue.push(report(std::string(256 * 1024, 'x')));
        EXPECT_EQ(queue.take_all().size(), 1U);
    }
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
