#include "at/fields.hpp"

#include <gtest/gtest.h>

namespace {

std::string texts_of(const at::Fields& fields)
{
    std::string texts;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        texts += (i > 0 ? "|" : "") + fields[i].text;
    }
    return texts;
}

template <class Number>
std::string text_of(const std::optional<Number>& number)
{
    return number ? std::to_string(*number) : "-";
}

} // namespace

TEST(Fields, SplitOutsideQuotesOnly)
{
    for (const std::string row :
         {R"( 0 , "Home, sweet" ,,02 -> 0|Home, sweet||02)", " -> ", ", -> |", R"("a"b"c",d -> ac|d)",
          R"(x"a" y -> a)", "\" never, closed  ->  never, closed "}) {
        const auto line = row.substr(0, row.find(" -> "));
        EXPECT_EQ(line + " -> " + texts_of(at::Fields(line)), row);
    }
    const at::Fields fields(R"(1,"")");
    EXPECT_TRUE(fields[1].quoted && fields[1].empty() && !fields[0].quoted && !fields[0].empty());
    EXPECT_TRUE(!fields[2].quoted && fields[2].empty()); // beyond the last
    EXPECT_EQ(at::Fields(std::string(100000, ',')).size(), 32U);
}

// As a decimal and as a hexadecimal number.
TEST(Fields, ReadNumbersAndKeepWhatWasWhereThereIsNone)
{
    for (const std::string row :
         {"7 -> 7 7", "-1 -> -1 -", " 0042  -> 42 66", R"("1" -> 1 1)", R"(" 01A2 " -> - 418)",
          "fFfFfFfF -> - 4294967295", "2147483647 -> 2147483647 -", "2147483648 -> - -", "1FFFFFFFF -> - -",
          "0000000000000012 -> 12 18", "00000000000000012 -> - -", " -> - -", "1x -> - -", "1 2 -> - -",
          "0x1A -> - -", "+1 -> - -", "--1 -> - -", "- -> - -"}) {
        const auto text = row.substr(0, row.find(" -> "));
        const at::Fields fields("9," + text);
        const auto decimal = fields[1].decimal();
        EXPECT_EQ(text + " -> " + text_of(decimal) + ' ' + text_of(fields[1].hex()), row);
        int value = 5;
        EXPECT_EQ(fields.read(1, value), decimal.has_value()) << text;
        EXPECT_EQ(value, decimal.value_or(5)) << text;
        EXPECT_FALSE(fields.read(2, value));
    }
}
