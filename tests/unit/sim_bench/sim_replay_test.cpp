#include "at/at_interpreter.hpp"
#include "base/files.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>

namespace bench {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// An interpreter whose own module answers "own" to everything.
class Replayed : public testing::Test {
protected:
    explicit Replayed()
    {
        transcript_.open(root_.path("/transcript"));
        interpreter_.echo(false);
    }

    void play(const std::string& recording)
    {
        root_.write("/recording", recording);
        interpreter_.replay(Replay(read_recording(root_.path("/recording"))));
    }
    std::string at(const std::string& command, std::chrono::milliseconds time)
    {
        output_.clear();
        interpreter_.receive(command + "\r");
        return heard(time);
    }
    std::string heard(std::chrono::milliseconds time)
    {
        timers_.advance_to(timers_.now() + time);
        std::string text;
        for (const char c : std::exchange(output_, {})) {
            text += c == '\n' ? std::string("|") : c == '\r' ? "" : std::string(1, c);
        }
        return text;
    }

    TempRoot root_;
    TimerQueue timers_{TimerQueue::TimePoint(1h)};
    Transcript transcript_{timers_};
    std::string output_;
    int crashes_ = 0;
    AtInterpreter interpreter_{timers_,
                               20ms,
                               transcript_,
                               {.execute = [](const AtRequest&) { return AtAnswer::line("own"); },
                                .slowness = [](const AtRequest&) { return 1; },
                                .cmee = [] { return 2; },
                                .send = [this](std::string_view bytes) { output_ += bytes; },
                                .log = [](char, const std::string&) {},
                                .received = [](const std::string&) {},
                                .crash =
                                    [this](const Crash&) {
                                        ++crashes_;
                                        interpreter_.reset();
                                    },
                                .port = [] { return std::string("open"); }}};
};

constexpr const char* TIME = "2026-11-25T16:00:00.000Z ";

std::string line(const std::string& rest)
{
    return TIME + rest + "\n";
}

TEST_F(Replayed, TheNthCommandHasTheNthAnswerAndItsDelayThenTheOwnModules)
{
    play(line("10.000 = opened /dev/x") + line("10.000 < +BOOT") + line("10.000 > AT+CREG?") +
         line("10.500 < +CREG: 2,2") + line("10.500 < OK") + line("11.000 > AT+CPIN=\"***\"") +
         line("11.100 < AT+CPIN=\"***\"") + line("11.200 < +CME ERROR: SIM busy") +
         line("12.000 > AT+CREG?") + line("12.010 < +CREG: 2,1") + line("12.010 < OK"));
    EXPECT_EQ(at("AT+CREG?", 499ms), "");
    EXPECT_EQ(heard(1ms), "|+CREG: 2,2||OK|");
    EXPECT_EQ(at("AT+OTHER", 20ms), "|own||OK|");
    EXPECT_EQ(at("AT+CPIN=\"4711\"", 200ms), "|+CME ERROR: SIM busy|");
    interpreter_.urc("+OWN: the bench's own report has no place in a replay");
    EXPECT_EQ(at("at+creg?", 10ms), "|+CREG: 2,1||OK|");
    EXPECT_EQ(at("AT+CREG?", 20ms), "|own||OK|"); // the recording has no third
    interpreter_.urc("+OWN: and is over now");
    EXPECT_EQ(heard(0ms), "|+OWN: and is over now|");
}

TEST_F(Replayed, ReportsLateAnswersAndTheEndOfTheLineComeAtTheirPlace)
{
    play(line("10.000 > AT+CSQ") + line("10.020 < +CSQ: 9,99") + line("10.020 < OK") +
         line("12.020 < +CREG: 0") + line("20.000 > AT+COPS=0") + line("20.100 < +PART: 1") +
         line("30.000 ! time-out AT+COPS=0") + line("31.000 < OK") + "# 3 lines are missing here\n" +
         line("40.000 > AT+CFUN=16") + line("40.100 = hung up"));
    EXPECT_EQ(at("AT+CSQ", 2019ms), "|+CSQ: 9,99||OK|");
    EXPECT_EQ(heard(1ms), "|+CREG: 0|");
    EXPECT_EQ(at("AT+COPS=0", 100ms), "|+PART: 1|");
    EXPECT_EQ(heard(10899ms), "");
    EXPECT_EQ(heard(1ms), "|OK|");
    EXPECT_EQ(at("AT+CFUN=16", 99ms), "");
    EXPECT_EQ(crashes_, 0);
    EXPECT_EQ(heard(1ms), "");
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
            EXPECT_THAT(error.what(), HasSubstr("/recording, line 2")) << wrong;
        }
    }
    EXPECT_THROW(read_recording(root_.path("/")), BenchError);
    EXPECT_THROW(read_recording(root_.path("/none")), BenchError);
}

} // namespace
} // namespace bench
