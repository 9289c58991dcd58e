#include "utils/strings.hpp"

#include <gtest/gtest.h>

#include <cerrno>

TEST(Strings, ReplaceGoesOnBehindWhatItInserted)
{
    std::string text = "aXa";
    utils::replace(text, "a", "aa");
    EXPECT_EQ(text, "aaXaa");
    utils::replace(text, "", "b");
    EXPECT_EQ(text, "aaXaa");
    EXPECT_EQ(utils::replace_crlf("OK\r\n"), "OK<CR><LF>");
}

TEST(Strings, SplitsIntoASortedSet)
{
    EXPECT_EQ(utils::split_as(" celld.modem , all,celld.sim,,all", ','),
              (std::set<std::string>{"all", "celld.modem", "celld.sim"}));
}

TEST(Strings, MakesValidUtf8OfAnything)
{
    EXPECT_EQ(utils::to_valid_utf8("Telefónica €"), "Telefónica €");
    EXPECT_EQ(utils::to_valid_utf8("a\r\nb"), "a  b");
    EXPECT_EQ(utils::to_valid_utf8("\xff\xc3"), "\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(utils::to_valid_utf8("\x80"), "\xef\xbf\xbd");                          // no lead
    EXPECT_EQ(utils::to_valid_utf8("\xf5\x80\x80\x80").substr(0, 3), "\xef\xbf\xbd"); // above U+10FFFF
    EXPECT_EQ(utils::to_valid_utf8("\xc0\xaf"), "\xef\xbf\xbd\xef\xbf\xbd");          // overlong
    EXPECT_EQ(utils::to_valid_utf8("\xed\xa0\x80").substr(0, 3), "\xef\xbf\xbd");     // surrogate
    EXPECT_EQ(utils::to_valid_utf8("\xf0\x9f\x9a\x97"), "\xf0\x9f\x9a\x97");
}

TEST(Strings, ErrnoTextTakesTheErrorAtOnce)
{
    errno = EIO;
    EXPECT_EQ(utils::errno_text("tcflush() error"), "tcflush() error: Input/output error (5)");
}
