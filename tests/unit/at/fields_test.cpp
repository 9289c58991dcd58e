#include "at/fields.hpp"

#include <gtest/gtest.h>

TEST(Fields, SplitOutsideQuotesOnly)
{
    const at::Fields fields(R"( 0 , "Home, sweet" ,,02)");
    ASSERT_EQ(fields.size(), 4U);
    EXPECT_EQ(fields[0].decimal(), 0);
    EXPECT_EQ(fields[1].text, "Home, sweet");
    EXPECT_TRUE(fields[1].quoted);
    EXPECT_TRUE(fields[2].empty());
    EXPECT_EQ(fields[3].decimal(), 2);
}

TEST(Fields, RefuseWhatIsNoNumber)
{
    for (const char* text : {"", "1x", "99999999999", "0x1A", "--1"}) {
        EXPECT_EQ((at::Field{text, false}.decimal()), std::nullopt) << text;
    }
    EXPECT_EQ((at::Field{"1A2b", true}.hex()), 0x1a2bU);
    EXPECT_EQ((at::Field{"1FFFFFFFF", true}.hex()), std::nullopt);
}

TEST(Fields, SurviveHostileText)
{
    EXPECT_LE(at::Fields(std::string(100000, ',')).size(), 32U);
    EXPECT_EQ(at::Fields("\"never closed,1").size(), 1U);
    EXPECT_EQ(at::pieces_of("+CREG: 5+CREG:2,1 ", "+CREG"), (std::vector<std::string>{"5", "2,1"}));
    EXPECT_TRUE(at::pieces_of("+CGREG: 1", "+CREG").empty());
}
