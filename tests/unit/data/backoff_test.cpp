#include "data/backoff.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using Type = defs::NwFriendlyModeType;

namespace {

const Clock::time_point NOW{1h};

struct Report {
    Type type;
    std::chrono::seconds remaining;
};

struct Case {
    const char* name;
    std::vector<Report> reports;
    bool active;
    Type type;
    std::chrono::seconds lasts;
};

} // namespace

TEST(Backoff, CountsTheSecondsOfRunningTimersAlone)
{
    for (const auto& c : std::vector<Case>{
             {"CS", {{Type::CS_BACKOFF, 30s}}, true, Type::CS_BACKOFF, 30s},
             {"PS", {{Type::PS_BACKOFF, 31s}}, true, Type::PS_BACKOFF, 31s},
             {"PDP, absurd", {{Type::PDP_BACKOFF, 1'000'000s}}, true, Type::PDP_BACKOFF, 24h},
             {"zero bars nothing", {{Type::PS_BACKOFF, 0s}}, false, Type::CS_BACKOFF, 0s},
             {"nor does less", {{Type::PS_BACKOFF, -5s}}, false, Type::CS_BACKOFF, 0s},
             {"attempts have no time", {{Type::PS_ATTEMPTS, 500s}}, true, Type::PS_ATTEMPTS, 0s},
             {"SMS has none of ours", {{Type::SMS_BACKOFF, 500s}}, true, Type::SMS_BACKOFF, 0s},
             {"the later end stays",
              {{Type::PS_BACKOFF, 90s}, {Type::PDP_BACKOFF, 20s}},
              true,
              Type::PDP_BACKOFF,
              90s},
             {"attempts behind a timer",
              {{Type::PS_BACKOFF, 90s}, {Type::CS_ATTEMPTS, 0s}},
              true,
              Type::CS_ATTEMPTS,
              90s},
         }) {
        Backoff backoff;
        for (const auto& report : c.reports) {
            backoff.report(report.type, report.remaining, NOW);
        }
        EXPECT_EQ(backoff.active(), c.active) << c.name;
        EXPECT_EQ(backoff.take_news(), c.active) << c.name;
        EXPECT_FALSE(backoff.take_news()) << c.name;
        EXPECT_EQ(backoff.type(), c.type) << c.name;
        EXPECT_TRUE(backoff.is_over(NOW + c.lasts)) << c.name;
        EXPECT_EQ(backoff.is_over(NOW + c.lasts - 1s), c.lasts == 0s && backoff.is_over(NOW - 1s)) << c.name;
    }
}

TEST(Backoff, IsOverruledByAnAnswerAndForgottenWhole)
{
    Backoff backoff;
    backoff.report(Type::PS_BACKOFF, 600s, NOW);
    backoff.answered(10s, NOW);
    EXPECT_FALSE(backoff.is_over(NOW + 9s));
    EXPECT_TRUE(backoff.is_over(NOW + 10s));
    backoff.answered(20s, NOW);
    EXPECT_FALSE(backoff.is_over(NOW + 19s));
    backoff.forget();
    EXPECT_FALSE(backoff.active() || backoff.take_news());
    EXPECT_TRUE(backoff.is_over(NOW));
}
