#include "scenario/log_rules.hpp"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string records(int count, int a_second, const std::string& level)
{
    std::string log;
    for (int i = 0; i < count; ++i) {
        char time[64];
        const int second = i / a_second;
        std::snprintf(time, sizeof time, "2026-01-31T23:%02d:%02d.000Z ", 57 + second / 60, second % 60);
        log += time + level + " celld.modem: again\n";
    }
    return log;
}

TEST(LogRulesTest, SeeFloodsAndALoopThatGoesOnAsking)
{
    const std::string refused =
        "2026-01-31T23:59:59.000Z WARNING celld.modem.state: State transition from 'A' to "
        "'B' not allowed!\n";
    const std::string other =
        "2026-01-31T23:59:59.000Z WARNING celld.modem.state: State transition from 'A' to "
        "'C' not allowed!\n";
    const std::string change =
        "2026-01-31T23:59:59.000Z NOTICE celld.modem.state: Change state from 'A' to 'A'\n";
    EXPECT_THAT(log_violations(records(540, 3, "NOTICE") + " a line without a time\n"), IsEmpty());
    EXPECT_THAT(log_violations(records(241, 4, "NOTICE")), ElementsAre(HasSubstr("23:57:50.000Z")));
    EXPECT_THAT(log_violations(records(700, 4, "INFO")), IsEmpty());
    EXPECT_THAT(log_violations(refused + other + refused + change + refused), IsEmpty());
    EXPECT_THAT(log_violations(refused + "something else\n" + refused),
                ElementsAre("refused twice: " + refused.substr(0, refused.size() - 1)));
}

} // namespace
