#include "at/at_text.hpp"

#include <gtest/gtest.h>

TEST(AtText, FindsContextsHoweverTheirLinesAreJoined)
{
    using Contexts = std::map<int, bool>;
    EXPECT_EQ(utils::extract_cid_from_cgact("+CGACT: 1,1+CGACT: 4,0"), (Contexts{{1, true}, {4, false}}));
    EXPECT_EQ(utils::extract_cid_from_cgact("+CGACT:1,1"), (Contexts{{1, true}}));
    EXPECT_EQ(
        utils::extract_cid_from_cgact("1,1+CGACT: x+CGACT: 2,1+CGACT: 3,+CGACT:04,02+CGACT: 99999999999,1"),
        (Contexts{{2, true}, {4, true}}));
    EXPECT_TRUE(utils::extract_cid_from_cgact("nothing of the kind").empty());
}

TEST(AtText, MasksEverySecretAndNothingElse)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"(AT+CPIN="1234")", R"(AT+CPIN="***")"},
        {"+CPIN=1234 failed", "+CPIN=*** failed"},
        {R"(+CPIN="12)", R"(+CPIN="***)"},
        {R"('+UAUTHREQ=1,1,"me","word"' error "x")", R"('+UAUTHREQ=1,1,"***","***"' error "x")"},
        {R"(+UCGDFLT=1,"IP","apn",0,1,2,"me","word")", R"(+UCGDFLT=1,"IP","apn",0,1,2,"***","***")"},
        {R"(+UAUTHREQ=1,1,"a","b" +UAUTHREQ=1,1,"c","d")",
         R"(+UAUTHREQ=1,1,"***","***" +UAUTHREQ=1,1,"***","***")"},
        {"+CPIN?", "+CPIN?"},
        {R"(+CGDCONT=1,"IP","apn")", R"(+CGDCONT=1,"IP","apn")"},
    };
    for (const auto& [text, masked] : cases) {
        EXPECT_EQ(at::mask_secrets(text), masked);
    }
}

TEST(AtText, KnowsWhatEndsAQuotedArgument)
{
    for (const char* text : {"a\"b", "a\rb", "\n", "\x7f"}) {
        EXPECT_TRUE(at::breaks_at_argument(text)) << text;
    }
    EXPECT_FALSE(at::breaks_at_argument("internet.example, 'x' \xc3\xa4"));
    EXPECT_FALSE(at::breaks_at_argument(""));
}

TEST(AtText, TheLastIdentityHasItsDigitsAndNothingElse)
{
    const std::pair<const char*, const char*> cases[] = {
        {"1234", "1234"},
        {"123456", "123456"},
        {"123", ""},
        {"1234567", ""},
        {"1234 56789 x", "56789"},
        {"12345F", "12345"},
        {"AT+CGSN\r12345ff", "12345"},
        {"12a45", ""},
        {"", ""},
    };
    for (const auto& [text, identity] : cases) {
        EXPECT_EQ(at::last_identity(text, {4, 6}), identity) << text;
    }
}
