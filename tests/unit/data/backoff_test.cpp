#include "data/backoff.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using enum defs::NwFriendlyModeType;

const Clock::time_point NOW{1h};

TEST(Backoff, CountsTheSecondsOfRunningTimersAlone)
{
    const struct {
        std::vector<std::pair<defs::NwFriendlyModeType, std::chrono::seconds>> reports;
        bool active;
        defs::NwFriendlyModeType type;
        std::chrono::seconds lasts;
    } table[] = {
        {{{CS_BACKOFF, 30s}}, true, CS_BACKOFF, 30s},
        {{{PS_BACKOFF, 31s}}, true, PS_BACKOFF, 31s},
        {{{PDP_BACKOFF, 1'000'000s}}, true, PDP_BACKOFF, 24h},
        {{{PS_BACKOFF, 0s}}, false, CS_BACKOFF, 0s}, // bars nothing
        {{{PS_BACKOFF, -5s}}, false, CS_BACKOFF, 0s},
        {{{PS_ATTEMPTS, 500s}}, true, PS_ATTEMPTS, 0s}, // attempts have no time
        {{{SMS_BACKOFF, 500s}}, true, SMS_BACKOFF, 0s}, // and SMS none of ours
        {{{PS_BACKOFF, 90s}, {PDP_BACKOFF, 20s}}, true, PDP_BACKOFF, 90s},
        {{{PS_BACKOFF, 90s}, {CS_ATTEMPTS, 0s}}, true, CS_ATTEMPTS, 90s},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(&row - table);
        Backoff backoff;
        for (const auto& [type, remaining] : row.reports) {
            backoff.report(type, remaining, NOW);
        }
        EXPECT_EQ(backoff.active(), row.active);
        EXPECT_EQ(backoff.take_news(), row.active);
        EXPECT_FALSE(backoff.take_news());
        EXPECT_EQ(backoff.type(), row.type);
        EXPECT_TRUE(backoff.is_over(NOW + row.lasts));
        EXPECT_EQ(backoff.is_over(NOW + row.lasts - 1s), row.lasts == 0s);
        backoff.answered(20s, NOW); // overrules what was reported
        EXPECT_FALSE(backoff.is_over(NOW + 19s));
        backoff.answered(10s, NOW);
        EXPECT_FALSE(backoff.is_over(NOW + 9s));
        EXPECT_TRUE(backoff.is_over(NOW + 10s));
        backoff.forget();
        EXPECT_FALSE(backoff.active() || backoff.take_news() || !backoff.is_over(NOW));
    }
}
