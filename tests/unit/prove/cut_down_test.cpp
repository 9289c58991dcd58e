#include "cut_down.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace {

using List = std::vector<int>;

List first(int count)
{
    List list(static_cast<std::size_t>(count));
    std::iota(list.begin(), list.end(), 0);
    return list;
}

bool has(const List& list, int wanted)
{
    return std::find(list.begin(), list.end(), wanted) != list.end();
}

TEST(CutDown, KeepsWhatIsNeededWhereverItStands)
{
    for (const auto& [all, needed] : {std::pair{first(20), List{3, 17}},
                                      {first(33), List{0, 1, 32}},
                                      {first(2), List{1}},
                                      {first(1), List{0}},
                                      {first(7), first(7)}}) {
        const auto fails = [&needed = needed](const List& list) {
            return std::all_of(needed.begin(), needed.end(), [&](int one) { return has(list, one); });
        };
        EXPECT_EQ(cut_down<int>(all, fails, 1000), needed);
    }
}

TEST(CutDown, EndsWithItsLimitAndStillFails)
{
    std::size_t asked = 0;
    const auto fails = [&asked](const List& list) {
        ++asked;
        return has(list, 60);
    };
    const auto cut = cut_down<int>(first(100), fails, 3);
    EXPECT_EQ(asked, 3U);
    EXPECT_LT(cut.size(), 100U);
    EXPECT_TRUE(has(cut, 60));
}

} // namespace
