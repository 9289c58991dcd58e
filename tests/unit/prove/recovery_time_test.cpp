#include "recovery_time.hpp"

#include <gtest/gtest.h>

#include <tuple>

using namespace std::chrono_literals;

namespace {

TEST(RecoveryTime, IsLongBeyondItsWaitsAndTooLongBeyondASequenceMore)
{
    const std::tuple<bool, std::chrono::milliseconds, bool, bool> table[] = {
        {false, 17'000ms, false, false}, // 1.2 times ten seconds, and five
        {false, 17'001ms, true, false},  {false, 27'000ms, true, false},
        {false, 27'001ms, true, true},   {true, 60'000ms, false, false},
    };
    for (const auto& [held, took, is_long, is_too_long] : table) {
        const Recovery recovery{true, held, took, 10s};
        EXPECT_EQ(took_long(recovery), is_long) << took.count();
        EXPECT_EQ(took_too_long(recovery), is_too_long) << took.count();
    }
}

} // namespace
