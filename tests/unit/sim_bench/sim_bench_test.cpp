#include "at/line_editor.hpp"
#include "bench_module.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace bench {
namespace {

using testing::HasSubstr;

TEST(LineEditorTest, TakesTheSameLinesHoweverTheBytesAreSplit)
{
    const std::string input = "rub\bbish\x11 AT+GMM\r\n\r\natx\b+CSQ\rAT\r";
    for (std::size_t cut = 0; cut <= input.size(); ++cut) {
        std::string echoed;
        std::vector<std::string> lines;
        LineEditor editor({.echo = [&](std::string_view bytes) { echoed += bytes; },
                           .command = [&](const std::string& line) { lines.push_back(line); },
                           .overflow = [] { FAIL(); }});
        editor.feed(input.substr(0, cut));
        editor.feed(input.substr(cut));
        EXPECT_THAT(lines, testing::ElementsAre("+GMM", "+CSQ", "")) << "cut at " << cut;
        EXPECT_EQ(echoed, "AT+GMM\ratx\b+CSQ\rAT\r") << "cut at " << cut;
    }
}

TEST_F(BenchModule, AnEndlessLineEndsInAnErrorAndTheNextOneWorks)
{
    power_up(Family::SARA);
    at("E0");
    EXPECT_EQ(at(std::string(1'000'000, 'x')), "\r\nERROR\r\n");
    EXPECT_EQ(at(""), "\r\nOK\r\n");
}

TEST_F(BenchModule, KeepsSettingsOverARestartAndForgetsTheSession)
{
    power_up(Family::TOBY);
    EXPECT_EQ(at("E0;+CMEE=2;+UUSBCONF=2;+UDCONF=50,1;+UBMCONF=1;+UGPIOC=60,1"),
              "ATE0;+CMEE=2;+UUSBCONF=2;+UDCONF=50,1"
              ";+UBMCONF=1;+UGPIOC=60,1\r\r\nOK\r\n");
    at(R"(+UIPCONF="192.168.234.1","255.255.255.0","192.168.234.100","192.168.234.100",)");
    power_up(Family::TOBY); // all from the file
    EXPECT_THAT(at("+UUSBCONF?"), testing::StartsWith("AT+UUSBCONF?\r\r\n+UUSBCONF: 2,\"ECM\""));
    EXPECT_THAT(at("+UBMCONF?;+UDCONF=50"), HasSubstr("\r\n+UBMCONF: 1\r\n+UDCONF: 50,1\r\n\r\nOK\r\n"));
    EXPECT_THAT(at("+UGPIOC?"),
                HasSubstr("\r\n+UGPIOC:\r\n21,255\r\n22,0\r\n23,255\r\n24,255\r\n60,1\r\n\r\nOK\r\n"));
    EXPECT_THAT(at("+UIPCONF?"), HasSubstr("\"192.168.234.1\","));
    EXPECT_THAT(at("+UNKNOWN"), HasSubstr("\r\nERROR\r\n")); // +CMEE is back at 0
}

TEST_F(BenchModule, LosesPinAttemptsUntilOnlyThePukHelps)
{
    power_up(Family::SARA);
    at("E0;+CMEE=2;+UGPIOC=23,0,1");
    pass(1s); // the other card wakes up
    EXPECT_THAT(at("+CPIN?"), HasSubstr("SIM PIN"));
    EXPECT_THAT(at("+CPIN=\"1\""), HasSubstr("incorrect password"));
    EXPECT_THAT(at("+UPINCNT"), HasSubstr("+UPINCNT: 2,3,10,10"));
    restart_module();
    pass(2s);
    at("E0;+CMEE=2");
    EXPECT_THAT(at("+UPINCNT"), HasSubstr("+UPINCNT: 2,3,10,10")); // the card remembers
    at("+CPIN=\"2\"");
    EXPECT_THAT(at("+CPIN=\"3\""), HasSubstr("SIM PUK required"));
    EXPECT_THAT(at("+CPIN=\"5193\""), HasSubstr("SIM PUK required"));
    EXPECT_THAT(at("+CPIN=\"11111111\",\"0000\""), HasSubstr("incorrect password"));
    EXPECT_THAT(at("+UPINCNT"), HasSubstr("+UPINCNT: 0,3,9,10"));
    EXPECT_THAT(at("+CPIN=\"12345678\",\"0000\";+CPIN?"), HasSubstr("+CPIN: READY\r\n\r\nOK"));
    EXPECT_THAT(at("+CIMI"), HasSubstr("001010000000002"));
}

TEST_F(BenchModule, RegistersOnlyWhileItMayAndReportsIt)
{
    power_up(Family::TOBY);
    at("E0;+COPS=2;+CREG=2;+CEREG=3;+CGDCONT=1,\"IP\",\"apn\"");
    EXPECT_EQ(heard_within(10s), "");
    at("+COPS=0");
    EXPECT_THAT(heard_within(3s), HasSubstr("\r\n+CEREG: 1,\"1F4E\",\"44A5F2\",7\r\n"));
    EXPECT_THAT(at("+CGACT?"), HasSubstr("+CGACT: 1,1\r\n")); // the default bearer
    EXPECT_THAT(at("+COPS=2"), HasSubstr("\r\n+CREG: 0\r\n\r\n+CEREG: 0\r\n\r\nOK\r\n"));
    EXPECT_THAT(at("+CGACT?"), HasSubstr("+CGACT: 1,0\r\n"));
    module_->network().answer(Surroundings::Answer::DENIED);
    at("+COPS=0");
    EXPECT_THAT(heard_within(3s), HasSubstr("\r\n+CREG: 3\r\n"));
    at("+CFUN=4");
    EXPECT_THAT(at("+CREG?"), HasSubstr("+CREG: 2,0\r\n"));
}

} // namespace
} // namespace bench
