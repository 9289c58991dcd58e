#include "at/at_text.hpp"

#include <gtest/gtest.h>

TEST(AtText, FindsContextsHoweverTheirLinesAreJoined)
{
    const auto found = utils::extract_cid_from_cgact(
        "1,1+CGACT:5,1+CGACT: 6,0+CGACT: x+CGACT: 2,1+CGACT: 3,+CGACT: ,1+CGACT:04,02+CGACT: 99999999999,1");
    EXPECT_EQ(found, (std::map<int, bool>{{2, true}, {4, true}, {5, true}, {6, false}}));
    EXPECT_TRUE(utils::extract_cid_from_cgact("nothing of the kind").empty());
}

TEST(AtText, MasksEverySecretAndNothingElse)
{
    for (const std::string row :
         {R"(AT+CPIN="1234" -> AT+CPIN="***")", "+CPIN=1904 failed -> +CPIN=*** failed",
          R"(+CPIN="12 -> +CPIN="***)", "+CPIN? -> +CPIN?", "+CPIN= -> +CPIN=",
          R"('+UAUTHREQ=1,1,"me","word"' error "x" -> '+UAUTHREQ=1,1,"***","***"' error "x")",
          R"(+UCGDFLT=1,"IP","apn",0,1,2,"me","word" -> +UCGDFLT=1,"IP","apn",0,1,2,"***","***")",
          R"(+UAUTHREQ=1,1,"a","b" +UAUTHREQ=1,1,"c" -> +UAUTHREQ=1,1,"***","***" +UAUTHREQ=1,1,"***")",
          R"(+CGDCONT=1,"IP","apn" -> +CGDCONT=1,"IP","apn")"}) {
        const auto text = row.substr(0, row.find(" -> "));
        EXPECT_EQ(text + " -> " + at::mask_secrets(text), row);
    }
}

TEST(AtText, KnowsWhatEndsAQuotedArgument)
{
    for (const char* text : {"a\"b", "a\rb", "\n", "\x7f"}) {
        EXPECT_TRUE(at::breaks_at_argument(text)) << text;
    }
    EXPECT_FALSE(at::breaks_at_argument("internet.example, 'x' \xc3\xa4"));
}

TEST(AtText, TheLastIdentityHasItsDigitsAndNothingElse)
{
    for (const std::string row :
         {"1234 -> 1234", "123456 -> 123456", "123 -> ", "1234567 -> ", "1234 56789 x -> 56789",
          "12345F -> 12345", "AT+CGSN\r12345ff -> 12345", "12a45 -> ", " -> "}) {
        const auto text = row.substr(0, row.find(" -> "));
        EXPECT_EQ(text + " -> " + at::last_identity(text, {4, 6}), row);
    }
}
