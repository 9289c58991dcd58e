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
    EXPECT_EQ(utils::split_as("celld.modem, all,celld.sim,,all", ','),
              (std::set<std::string>{"all", "celld.modem", "celld.sim"}));
}

TEST(Strings, FindsContextsHoweverTheirLinesAreJoined)
{
    using Contexts = std::map<int, bool>;
    EXPECT_EQ(utils::extract_cid_from_cgact("+CGACT: 1,1+CGACT: 4,0"), (Contexts{{1, true}, {4, false}}));
    EXPECT_EQ(utils::extract_cid_from_cgact("+CGACT:1,1"), (Contexts{{1, true}}));
    EXPECT_EQ(utils::extract_cid_from_cgact("1,1+CGACT: x+CGACT: 2,1"), (Contexts{{2, true}}));
    EXPECT_TRUE(utils::extract_cid_from_cgact("nothing of the kind").empty());
}

TEST(Strings, MasksEverySecretAndNothingElse)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"(AT+CPIN="1234")", R"(AT+CPIN="***")"},
        {"+CPIN=1234 failed", "+CPIN=*** failed"},
        {R"(+CPIN="12)", R"(+CPIN="***)"},
        {R"('+UAUTHREQ=1,1,"me","word"' error "x")", R"('+UAUTHREQ=1,1,"me","***"' error "x")"},
        {R"(+UCGDFLT=1,"IP","apn",0,1,2,"me","word")", R"(+UCGDFLT=1,"IP","apn",0,1,2,"me","***")"},
        {R"(+UAUTHREQ=1,1,"a","b" +UAUTHREQ=1,1,"c","d")",
         R"(+UAUTHREQ=1,1,"a","***" +UAUTHREQ=1,1,"c","***")"},
        {"+CPIN?", "+CPIN?"},
        {R"(+CGDCONT=1,"IP","apn")", R"(+CGDCONT=1,"IP","apn")"},
    };
    for (const auto& [text, masked] : cases) {
        EXPECT_EQ(utils::mask_secrets(text), masked);
    }
}

TEST(Strings, MakesValidUtf8OfAnything)
{
    EXPECT_EQ(utils::to_valid_utf8("Telefónica €"), "Telefónica €");
    EXPECT_EQ(utils::to_valid_utf8("a\r\nb"), "a  b");
    EXPECT_EQ(utils::to_valid_utf8("\xff\xc3"), "\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(utils::to_valid_utf8("\xc0\xaf"), "\xef\xbf\xbd\xef\xbf\xbd");      // overlong
    EXPECT_EQ(utils::to_valid_utf8("\xed\xa0\x80").substr(0, 3), "\xef\xbf\xbd"); // surrogate
    EXPECT_EQ(utils::to_valid_utf8("\xf0\x9f\x9a\x97"), "\xf0\x9f\x9a\x97");
}

TEST(Strings, ErrnoTextTakesTheErrorAtOnce)
{
    errno = EIO;
    EXPECT_EQ(utils::errno_text("tcflush() error"), "tcflush() error: Input/output error (5)");
}
