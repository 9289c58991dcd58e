#include "utils/strings.hpp"

#include <gtest/gtest.h>

TEST(Strings, ReplaceAndSplit)
{
    std::string text = "aXa";
    utils::replace(text, "a", "aa"); // goes on behind what it inserted
    EXPECT_EQ(text, "aaXaa");
    utils::replace(text, "", "b");
    EXPECT_EQ(text, "aaXaa");
    EXPECT_EQ(utils::split_as(" celld.modem , all,celld.sim,,all,x", ','),
              (std::set<std::string>{"all", "celld.modem", "celld.sim", "x"}));
}

// The borders of table 3-7 of the Unicode standard.
TEST(Strings, MakesValidUtf8OfAnything)
{
    EXPECT_EQ(utils::to_valid_utf8("a\r\n\x1f\x7f~"), "a    ~");
    for (const std::string valid :
         {"\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf",
          "\xf0\x90\x80\x80", "\xf1\x80\x80\x80", "\xf4\x8f\xbf\xbf", "Telefónica €"}) {
        EXPECT_EQ(utils::to_valid_utf8(valid), valid);
    }
    for (const std::string broken :
         {"\x80\x80", "\xc1\xbf", "\xc3", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xe2\x82", "\xf0\x8f\xbf\xbf",
          "\xf0\x9f\x9a", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff\x80\x80\x80"}) {
        std::string replaced;
        for (std::size_t i = 0; i < broken.size(); ++i) {
            replaced += "\xef\xbf\xbd";
        }
        EXPECT_EQ(utils::to_valid_utf8(broken), replaced);
        EXPECT_EQ(utils::to_valid_utf8(broken + "("), replaced + "(");
    }
}
