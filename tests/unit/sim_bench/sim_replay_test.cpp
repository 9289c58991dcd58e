#include "base/files.hpp"
#include "module_fixture.hpp"

#include <gmock/gmock.h>

namespace bench {
namespace {

class Replayed : public ModuleFixture {
protected:
    void play(const std::string& recording)
    {
        root_.write("/recording", recording);
        module_.interpreter().replay(Replay(read_recording(root_.path("/recording"))));
    }
    std::string at(const std::string& command, std::chrono::milliseconds time)
    {
        write(command);
        return heard_within(time);
    }
};

std::string line(const std::string& rest)
{
    return "2026-11-25T16:00:00.000Z " + rest + "\n";
}

const std::string OK = "\r\n\r\nOK\r\n";

TEST_F(Replayed, TheNthCommandHasTheNthAnswerAndItsDelayThenTheOwnModules)
{
    play(line("10.000 = opened /dev/x") + line("10.000 < +BOOT") + line("10.000 > AT+CSQ") +
         line("10.500 < +CSQ: 2,2") + line("10.500 < OK") + line("11.000 > AT+CPIN=\"***\"") +
         line("11.100 < AT+CPIN=\"***\"") + line("11.200 < +CME ERROR: SIM busy") + line("12.000 > AT+CSQ") +
         line("12.010 < +CSQ: 2,1") + line("12.010 < OK"));
    EXPECT_EQ(at("+CSQ", 499ms), "");
    EXPECT_EQ(heard_within(1ms), "\r\n+CSQ: 2,2" + OK);
    EXPECT_EQ(at("+GMI", 20ms), "\r\nu-blox" + OK);
    EXPECT_EQ(at("+CPIN=\"4711\"", 200ms), "\r\n+CME ERROR: SIM busy\r\n");
    module_.urc("+OWN: the bench's own report has no place in a replay");
    EXPECT_EQ(at("+csq", 10ms), "\r\n+CSQ: 2,1" + OK);
    EXPECT_EQ(at("+CSQ", 20ms), "\r\n+CSQ: 20,99" + OK); // the recording has no third
    module_.urc("+OWN: and is over now");
    EXPECT_EQ(recorded(0).back(), "report +OWN: and is over now");
}

TEST_F(Replayed, ReportsLateAnswersAndTheEndOfTheLineComeAtTheirPlace)
{
    play(line("10.000 > AT+CSQ") + line("10.020 < +CSQ: 9,99") + line("10.020 < OK") +
         line("12.020 < +CREG: 0") + line("20.000 > AT+COPS=0") + line("20.100 < +PART: 1") +
         line("30.000 ! time-out AT+COPS=0") + line("31.000 < OK") + "# 3 lines are missing here\n" +
         line("40.000 > AT+GMI") + line("40.100 = hung up"));
    EXPECT_EQ(at("+CSQ", 2019ms), "\r\n+CSQ: 9,99" + OK);
    EXPECT_EQ(heard_within(1ms), "\r\n+CREG: 0\r\n");
    EXPECT_EQ(at("+COPS=0", 100ms), "\r\n+PART: 1\r\n");
    EXPECT_EQ(heard_within(10899ms), "");
    EXPECT_EQ(heard_within(1ms), "\r\nOK\r\n");
    EXPECT_EQ(at("+GMI", 99ms), "");
    EXPECT_EQ(crashes_, 0);
    EXPECT_EQ(heard_within(1ms), "");
    EXPECT_EQ(crashes_, 1);
}

TEST_F(Replayed, AFileThatIsNoRecordingIsNamedWithItsLine)
{
    for (const char* wrong :
         {"nonsense", "2026-11-25T16:00:00.000Z 1.0 > AT", "x 99999999999999999999.000 > AT"}) {
        try {
            play(line("10.000 > AT") + wrong + "\n");
            ADD_FAILURE() << wrong;
        } catch (const BenchError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr("/recording, line 2")) << wrong;
        }
    }
    EXPECT_THROW(read_recording(root_.path("/")), BenchError);
}

} // namespace
} // namespace bench
