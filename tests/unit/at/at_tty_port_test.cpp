#include "stage.hpp"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <tuple>

using namespace std::chrono_literals;
using Level = LogCapture::Level;

namespace {

class AtTtyPortTest : public Stage {
protected:
    AtTtyPortTest() { answers["AT+CSQ"] = "+CSQ: 20,99"; }
    ~AtTtyPortTest() override
    {
        for (const auto& record : log.records()) { // no PIN
            EXPECT_TRUE(record.level == Level::DEBUG || record.text.find("1234") == std::string::npos);
        }
    }

    void start() { ASSERT_EQ(Stage::start(), "0: >AT\n200: =1"); }
};

TEST_F(AtTtyPortTest, TakesTheCandidatesInTurnTwentySecondsEach)
{
    AtTtyPort two({"/dev/absent", DEVICE}, clock);
    const auto before = clock.now();
    EXPECT_TRUE(two.wait_until_available());
    EXPECT_EQ(clock.now() - before, 20s);
    EXPECT_TRUE(log.contains(Level::NOTICE, std::string("Port ") + DEVICE + " became ready after 0 tries!"));

    AtTtyPort none({"/dev/absent"}, clock);
    clock.at(50s, [&] { none.stop_wait_until_available(); });
    EXPECT_FALSE(none.wait_until_available());
    EXPECT_EQ(log.count("Try to open TTY port /dev/absent"), 1U + 3U) << log;
    EXPECT_FALSE(AtTtyPort({}, clock).wait_until_available());
}

TEST_F(AtTtyPortTest, OpensTheLineRawAndForItselfAlone)
{
    start();
    termios line = {};
    ASSERT_EQ(::tcgetattr(wire.device(), &line), 0);
    EXPECT_EQ(std::tuple(line.c_oflag, line.c_lflag & (ICANON | ECHO), line.c_iflag & (ICRNL | IXOFF),
                         ::cfgetospeed(&line)),
              std::tuple(0, 0, IXOFF, B115200));
    const auto is_exclusive = [this] {
        int exclusive = -1;
        return ::ioctl(wire.device(), TIOCGEXCL, &exclusive) == 0 && exclusive == 1;
    };
    EXPECT_TRUE(is_exclusive());
    EXPECT_EQ(Stage::start(), "0: =0"); // it runs already
    EXPECT_TRUE(port.is_available());
    ASSERT_EQ(::fchmod(wire.device(), 0), 0);
    EXPECT_FALSE(port.is_available()); // the descriptor counts while the port is open
    EXPECT_TRUE(port.stop().unwrap());
    EXPECT_FALSE(port.stop().unwrap());
    EXPECT_FALSE(is_exclusive());
    EXPECT_TRUE(port.is_available()); // the node again

    root.remove(DEVICE); // and no descriptor of a failed open
    EXPECT_FALSE(port.is_available());
    EXPECT_EQ(port.start().unwrapErr(), "couldn't open modem: No such file or directory (2)");
    root.write(DEVICE, "not a terminal");
    EXPECT_EQ(port.start().unwrapErr(), "ioctl(TIOCEXCL) error: Inappropriate ioctl for device (25)");
}

TEST_F(AtTtyPortTest, ScansTheAnswerAndHandsReportsOut)
{
    start();
    const std::pair<const char*, const char*> table[] = {
        {"+CREG: 5\r\n\r\n+CREG:0,1\r\n\r\n+CREG: 4", "0,1"},    // what fills most of the format,
        {"+CREG: 2,3\r\n\r\n+CREG: 0,1\r\n\r\n+CREG: x", "0,1"}, // the last such
        {"+CREG: 5", "5,-1"},
        {"x", "-1,-1 13 format parsing failed"},
    };
    for (const auto& [lines, values] : table) {
        answers["AT+CREG?"] = lines;
        begin([this] {
            int mode = -1;
            int status = -1;
            const auto result = port.execute(AtCommand("+CREG?"), "%d,%d", &mode, &status);
            return std::to_string(mode) + ',' + std::to_string(status) +
                   (result.is_ok() ? "" : ' ' + text_of(result));
        });
        EXPECT_EQ(play("end"), std::string("0: >AT+CREG? =") + values);
    }
    answers["AT+CGMM"] = std::string(3000, 'S') + " second";
    for (const char* const expected : {"0: >AT+CGMM =1024", "0: >AT+CGMM\n1000: =5"}) {
        begin([this] {
            std::string word = "as it";
            (void)port.execute(AtCommand("+CGMM", 1s), word);
            return std::to_string(word.size());
        });
        EXPECT_EQ(play("end"), expected);
        answers.erase("AT+CGMM");
    }
    answers["AT+CSQ"] = "+CSQ: 1\r\n\r\n+UUX: 1\r\n\r\n+CSQ: 2";
    // An observer's fault stays its own; "+CMEE" is the line of a query that only the port itself asks.
    EXPECT_EQ(play("<+UUX: fault\r\n\r\n+CMEE: 2; AT+CSQ"),
              "0: !+UUX: fault\n200: >AT+CMEE?\n400: >AT+CSQ !+UUX: 1 =+CSQ: 1+CSQ: 2");
}

// What the module owes comes first, so the port gets in step before it writes another command.
TEST_F(AtTtyPortTest, GetsBackInStepWithAModuleThatOwesAnAnswer)
{
    start();
    EXPECT_EQ(play("AT+CPIN=\"1234\"; end; <OK; AT+CSQ"), // the OK is all it owed
              "0: >AT+CPIN=\"1234\"\n10000: =2  >AT+CSQ =+CSQ: 20,99");
    EXPECT_TRUE(log.contains(Level::NOTICE, "\"***\"' timeout!")) << log;
    clock.at(1100ms, [this] { say("\r\nOK\r\n"); }); // in the quiet that is waited for
    EXPECT_EQ(play("AT+LATE 1; end; AT+CSQ"), "0: >AT+LATE\n1000: =2 \n1400: >AT+CSQ =+CSQ: 20,99");

    const auto known = std::exchange(answers, {}); // each query is asked once, then the last for ever
    EXPECT_EQ(play("AT+LOST 1; end; AT+CSQ; end; AT+CSQ; end; AT+CSQ"),
              "0: >AT+LOST\n1000: =2 \n"
              "1200: >AT+CMEE?\n4600: >AT+CFUN?\n7800: =2 \n"
              "8000: >AT+CGEREP?\n11400: >AT+CMER?\n14600: =2 \n"
              "14800: >AT+CMER?\n18200: >AT+CMER?\n21400: =2 ");
    EXPECT_EQ(log.count("The module still owes an answer, '+CSQ' is not sent"), 3U);
    for (int i = 0; i < 7; ++i) { // the eleventh command without an answer in a row is a verdict
        EXPECT_FALSE(port.is_timeout());
        play("AT+CSQ");
    }
    EXPECT_TRUE(port.is_timeout());
    EXPECT_TRUE(port.stop().unwrap());
    answers = known;
    start();
    EXPECT_FALSE(port.is_timeout());
}

TEST_F(AtTtyPortTest, GetsInStepThroughAFloodAndAnOkTooMany)
{
    start();
    for (int i = 1; i < 55; ++i) { // until 8560 ms
        clock.at(1s + i * 140ms, [this] { say("\r\n+UUX: 1\r\n"); });
    }
    const auto seen = play("AT+LOST 1; end; AT+CSQ");
    EXPECT_NE(seen.find("\n3200: >AT+CMEE?\n"), std::string::npos) << seen;
    EXPECT_NE(seen.find("\n7600: >AT+CSQ =+CSQ: 20,99"), std::string::npos) << seen;
    pass(1s);
    record();
    heard = [this](const std::string& line) {
        if (line == "AT+CMEE?") {
            say("\r\nOK\r\n\r\nOK\r\n"); // one of them is that of +SLOW
        }
        clock.at(1s, [=, this] { answer(line); });
    };
    EXPECT_EQ(play("AT+SLOW; end; AT+CSQ; end; AT+CSQ"),
              "0: >AT+SLOW\n10000: =2 \n10200: >AT+CMEE?\n11600: >AT+CSQ\n"
              "12600: =+CSQ: 20,99 >AT+CSQ\n13600: =+CSQ: 20,99");
}

TEST_F(AtTtyPortTest, WritesACommandAtOnceOrNotAtAll)
{
    start();
    EXPECT_EQ(play("close; <+UUX: 1; AT+LATE 0; open; AT+CSQ"), // over before it could be written
              "0: !+UUX: 1 =2  >AT+CSQ =+CSQ: 20,99");
    EXPECT_EQ(play("AT+SLOW 1; end; close; <+UUX: 1\r\n\r\nOK; AT+CSQ; open"), // the OK of +SLOW
              "0: >AT+SLOW\n1000: =2  !+UUX: 1\n1200: >AT+CSQ =+CSQ: 20,99");
    for (const char* what : {"close", "<+UUX: 1", "AT+CSQ"}) {
        step(what);
        settle();
    }
    step("<+UUX: 2"); // waits, and is read before the command is written
    EXPECT_EQ(play("open"), "0: !+UUX: 1 >AT+CSQ !+UUX: 2 =+CSQ: 20,99");
}

TEST_F(AtTtyPortTest, AFailedWriteEndsTheCommandAndTheEleventhIsAVerdict)
{
    start();
    for (int i = 0; i < 11; ++i) {
        EXPECT_FALSE(port.is_write_error());
        next_call::write = EIO;
        EXPECT_EQ(play("AT+CPIN=\"1234\""), "0: =3 ERROR");
    }
    EXPECT_TRUE(port.is_write_error());
    EXPECT_EQ(play("AT"), "0: >AT =");
    EXPECT_FALSE(port.is_write_error());
    EXPECT_EQ(log.count("Unable to write to port: 'AT+CPIN=\"***\"<CR><LF>' (Input/output error)"), 11U);
}

TEST_F(AtTtyPortTest, AFaultOfOneCallIsNotTheEnd)
{
    start();
    for (const int fault : {EAGAIN, EIO, next_call::NOTHING}) { // the thread rests, or it would spin
        next_call::read = fault;
        EXPECT_EQ(play("<lost; AT+CSQ"), "100: >AT+CSQ =+CSQ: 20,99");
    }
    next_call::tcflush = EIO; // it looks again when something comes
    EXPECT_EQ(play("AT+CSQ; wait 1; <+UUX: 1"), "1000: >AT+CSQ !+UUX: 1 =+CSQ: 20,99");
    next_call::poll = EINTR;
    next_call::write = next_call::NOTHING; // a torso: the module says nothing
    EXPECT_EQ(play("AT+CSQ 1; end; AT+CSQ"), "1000: =2 \n1200: >AT+CMEE?\n1400: >AT+CSQ =+CSQ: 20,99");
    next_call::poll = EIO; // but this is
    EXPECT_EQ(play("<+UUX: 1"), "0: !+UUX: 1");
    EXPECT_FALSE(port.is_running());
}

TEST_F(AtTtyPortTest, RestsBehindAReportUntilACommandComesOrTheLineGoes)
{
    start();
    port_rest::kind = port_rest::Kind::ENDLESS;
    for (int round = 0; round < 2; ++round) {
        port_rest::begun = 0;
        EXPECT_EQ(play("AT+CSQ; <+UUX: 1; AT+CSQ"), "0: >AT+CSQ =+CSQ: 20,99 !+UUX: 1 >AT+CSQ =+CSQ: 20,99");
        EXPECT_EQ(port_rest::begun, 1) << "none behind an answer";
    }
    say("\r\n" + std::string(2046, 'x')); // as much as is read at once: more is sure to come
    settle();
    EXPECT_EQ(port_rest::begun, 1);
    say("\r\n+UUX: 2\r\n");
    settle();
    EXPECT_EQ(port_rest::begun, 2);
    hang_up();
    finish();
    settle();
    EXPECT_FALSE(port.is_running());
}

TEST_F(AtTtyPortTest, AHangUpReleasesTheCommandAndThePortCanBeStartedAnew)
{
    start();
    clock.at(1s, [this] { hang_up(); });
    EXPECT_EQ(play("AT+CPIN=\"1234\" 60"), "0: >AT+CPIN=\"1234\"\n1000: =14 PORT_CLOSED");
    EXPECT_TRUE(log.contains(Level::NOTICE, "poll() error/nval/hup")) << log;
    EXPECT_FALSE(port.is_running());
    plug_in();
    EXPECT_EQ(play("AT"), "0: =14 Port is no longer reading or writing");
    EXPECT_TRUE(port.stop().unwrap());
    start();
    EXPECT_EQ(play("AT"), "0: >AT =");
    clock.at(1100ms, [this] { hang_up(); }); // in the quiet that is waited for
    EXPECT_EQ(play("AT+LOST 1; end; AT+CSQ"),
              "0: >AT+LOST\n1000: =2 \n1100: =14 Port is no longer reading or writing");
}

TEST_F(AtTtyPortTest, AnInterruptionEndsTheCommandAndLaterOnesUntilItIsOver)
{
    start();
    EXPECT_EQ(play("AT+COPS=0 180; AT+COPS? 180; wait 1; interrupt; AT+CSQ"),
              "0: >AT+COPS=0\n"
              "1000: =14 AT command interrupted =14 AT command interrupted =14 AT command interrupted");
    // What ends well and is not to be interrupted is written all the same; the first OK is that of +COPS=0.
    EXPECT_EQ(play("AT+CPWROFF 40; wait 1; interrupt; <OK; wait 1; <OK"), "0: >AT+CPWROFF\n2000: =");
    EXPECT_TRUE(port.is_interrupted());
    EXPECT_EQ(play("resume; AT+CSQ"), "0: >AT+CSQ =+CSQ: 20,99");
    clock.at(1s, [this] { EXPECT_TRUE(port.stop().unwrap()); });
    EXPECT_EQ(play("AT+COPS=0 180; AT+CSQ"),
              "0: >AT+COPS=0\n1000: =14 AT command interrupted =14 Port is no longer reading or writing");
    EXPECT_FALSE(port.is_timeout());
}

TEST_F(AtTtyPortTest, ASecondCommandWaitsHalfAMinuteForItsTurn)
{
    start();
    EXPECT_EQ(play("AT+COPS=0 180; AT+CMEE?; wait 31; AT+CSQ; wait 10; <OK"),
              "0: >AT+COPS=0\n30000: =1 Device is busy processing another command\n"
              "41000: >AT+CSQ = =+CSQ: 20,99");
}

// Commands are published while the loop ends: each must come back, or this test never does.
TEST_F(AtTtyPortTest, NoCommandIsLeftBehindWhenThePortStops)
{
    const auto until_stopped = [this] {
        while (port.execute(AtCommand("", 1h)).is_ok()) {
        }
        return std::string("over");
    };
    for (int round = 0; round < 30; ++round) {
        start();
        heard = [this, commands = 0](const std::string& line) mutable {
            answer(line);
            if (++commands == 3) {
                begin([this] { return std::to_string(port.is_available() && port.stop().unwrap()); });
            }
        };
        begin(until_stopped);
        begin(until_stopped);
        const auto seen = play("end");
        EXPECT_EQ(seen.substr(seen.find('=')), "=over =over =1");
        heard = [this](const std::string& line) { answer(line); };
    }
}

TEST_F(AtTtyPortTest, GivesAMuteModuleThirtyTriesAndWaitsForALateOne)
{
    heard = [this](const std::string& line) { clock.at(2050ms, [=, this] { answer(line); }); };
    EXPECT_EQ(Stage::start(), "0: >AT\n2000: >AT\n3200: >AT+CMEE?\n5450: =1"); // once nothing follows
    heard = [this](const std::string& line) { answer(line); };
    EXPECT_EQ(play("AT+CSQ"), "0: >AT+CSQ =+CSQ: 20,99");
    EXPECT_TRUE(port.stop().unwrap());
    answers.clear();
    std::string tries;
    for (int i = 0; i < 30; ++i) {
        tries += std::to_string(2000 * i) + ": >AT\n";
    }
    EXPECT_EQ(Stage::start(), tries + "60000: =Modem does not respond to AT commands.");
    EXPECT_FALSE(port.is_running());
    EXPECT_EQ(log.count("timeout!"), 0U) << log;
}

} // namespace
