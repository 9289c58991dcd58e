#include "at/fields.hpp"

#include <gtest/gtest.h>

TEST(Fields, SplitOutsideQuotesOnly)
{
    struct {
        const char* line;
        std::vector<std::string> texts;
    } const table[] = {
        {R"( 0 , "Home, sweet" ,,02)", {"0", "Home, sweet", "", "02"}},
        {"", {""}},
        {",", {"", ""}},
        {R"("a"b"c",d)", {"ac", "d"}},
        {R"(x"a" y)", {"a"}},
        {"\" never, closed ", {" never, closed "}},
    };
    for (const auto& [line, texts] : table) {
        const at::Fields fields(line);
        ASSERT_EQ(fields.size(), texts.size()) << line;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            EXPECT_EQ(fields[i].text, texts[i]) << line;
        }
        EXPECT_TRUE(fields[texts.size()].empty()) << line; // beyond the last
    }
    EXPECT_TRUE(at::Fields(R"(1,"")")[1].quoted);
    EXPECT_EQ(at::Fields(std::string(100000, ',')).size(), 32U);
}

TEST(Fields, ReadNumbersAndKeepWhatWasWhereThereIsNone)
{
    struct {
        const char* field;
        std::optional<int> decimal;
        std::optional<std::uint32_t> hex;
    } const table[] = {
        {"7", 7, 7},
        {"-1", -1, {}},
        {" 0042 ", 42, 0x42},
        {R"("1")", 1, 1},
        {R"(" 01A2 ")", {}, 0x1a2},
        {"fFfFfFfF", {}, 0xffffffff},
        {"2147483647", 2147483647, {}},
        {"2147483648", {}, {}},
        {"1FFFFFFFF", {}, {}},
        {"0000000000000012", 12, 0x12},
        {"00000000000000012", {}, {}}, // too long
        {"", {}, {}},
        {"1x", {}, {}},
        {"1 2", {}, {}},
        {"0x1A", {}, {}},
        {"+1", {}, {}},
        {"--1", {}, {}},
        {"-", {}, {}},
    };
    for (const auto& [text, decimal, hex] : table) {
        const at::Fields fields(std::string("9,") + text);
        int value = 5;
        EXPECT_EQ(fields.read(1, value), decimal.has_value()) << text;
        EXPECT_EQ(value, decimal.value_or(5)) << text;
        EXPECT_EQ(fields[1].decimal(), decimal) << text;
        EXPECT_EQ(fields[1].hex(), hex) << text;
    }
    int value = 5;
    EXPECT_FALSE(at::Fields("1").read(1, value));
    EXPECT_EQ(value, 5);
}

TEST(Fields, AreThoseOfTheLastPieceBehindThePrefix)
{
    const auto first = [](const char* message) {
        return at::Fields(AtCommandResponse(message, "OK"), "+CREG")[0].text;
    };
    EXPECT_EQ(first("+CREG: 5+CREG:2,1 "), "2");
    EXPECT_EQ(first("AT+CREG?\r+CREG: 3"), "3");
    EXPECT_EQ(first("4,1"), "4"); // without one
    EXPECT_EQ(at::pieces_of("+CREG: 5+CREG:2,1 ", "+CREG"), (std::vector<std::string>{"5", "2,1"}));
    EXPECT_TRUE(at::pieces_of("+CGREG: 1", "+CREG").empty());
    EXPECT_TRUE(at::pieces_of("+CREG: 1", "").empty());
}
