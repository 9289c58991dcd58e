#include "stage.hpp"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <tuple>

using namespace std::chrono_literals;
using Level = LogCapture::Level;

namespace {

class AtTtyPortTest : public Stage {
protected:
    void start()
    {
        Stage::start();
        ASSERT_EQ(record(), "0: >AT\n200: =1");
    }
    /// What a scan of the module's answer has found: "mode,status" and the error's code, if any.
    std::string scanned(const std::string& lines)
    {
        answers["AT+CREG?"] = lines;
        begin([this] {
            int mode = -1;
            int status = -1;
            const auto result = port.execute(AtCommand("+CREG?"), "%d,%d", &mode, &status);
            return std::to_string(mode) + ',' + std::to_string(status) +
                   (result.is_ok() ? "" : ' ' + text_of(result));
        });
        finish();
        return record();
    }
    void expect_no_secret_above_debug(const std::string& secret)
    {
        for (const auto& record : log.records()) {
            EXPECT_TRUE(record.level == Level::DEBUG || record.text.find(secret) == std::string::npos)
                << record.text;
        }
    }
};

TEST_F(AtTtyPortTest, TakesTheCandidatesInTurnTwentySecondsEach)
{
    AtTtyPort two({"/dev/absent", DEVICE}, clock);
    const auto before = clock.now();
    EXPECT_TRUE(two.wait_until_available());
    EXPECT_EQ(clock.now() - before, 20s);
    EXPECT_TRUE(log.contains(Level::NOTICE, std::string("Port ") + DEVICE + " became ready after 0 tries!"))
        << log;

    AtTtyPort none({"/dev/absent"}, clock);
    clock.at(50s, [&] { none.stop_wait_until_available(); });
    EXPECT_FALSE(none.wait_until_available());
    EXPECT_EQ(log.count("Try to open TTY port /dev/absent"), 1U + 3U) << log;
    EXPECT_FALSE(AtTtyPort({}, clock).wait_until_available());
}

TEST_F(AtTtyPortTest, OpensTheLineRawAndForItselfAlone)
{
    termios line = {}; // the opposite of all that is wanted
    line.c_iflag = INPCK | IGNCR | ICRNL | IUCLC;
    line.c_oflag = OPOST | OLCUC | ONLCR | OCRNL | ONLRET;
    line.c_cflag = B9600 | CS8 | CSTOPB | CRTSCTS;
    line.c_lflag = ICANON | ECHO | ECHOE | ECHONL;
    line.c_cc[VEOF] = line.c_cc[VTIME] = line.c_cc[VMIN] = 9;
    ASSERT_EQ(::tcsetattr(device.get(), TCSANOW, &line), 0);
    start();
    ASSERT_EQ(::tcgetattr(device.get(), &line), 0);
    EXPECT_EQ(std::tuple(line.c_iflag, line.c_oflag, line.c_cflag, line.c_lflag),
              std::tuple(IGNPAR | IXON | IXANY | IXOFF, 0, B115200 | CS8 | CREAD | CLOCAL, 0));
    EXPECT_EQ(std::tuple(line.c_cc[VEOF], line.c_cc[VTIME], line.c_cc[VMIN]), std::tuple(1, 0, 1));
    EXPECT_EQ(std::tuple(::cfgetispeed(&line), ::cfgetospeed(&line)), std::tuple(B115200, B115200));
    const auto is_exclusive = [this] {
        int exclusive = -1;
        return ::ioctl(device.get(), TIOCGEXCL, &exclusive) == 0 && exclusive == 1;
    };
    EXPECT_TRUE(is_exclusive());
    Stage::start();
    EXPECT_EQ(record(), "0: =0"); // it runs already
    EXPECT_TRUE(port.is_available());
    ASSERT_EQ(::fchmod(device.get(), 0), 0);
    EXPECT_FALSE(port.is_available()); // the descriptor counts while the port is open
    EXPECT_TRUE(port.stop().unwrap());
    EXPECT_FALSE(is_exclusive());
    EXPECT_TRUE(port.is_available()); // the node again
    root.remove(DEVICE);
    EXPECT_FALSE(port.is_available());
}

TEST_F(AtTtyPortTest, KeepsNoDescriptorOfAFailedOpen)
{
    root.remove(DEVICE);
    root.write(DEVICE, "not a terminal");
    Stage::start();
    EXPECT_EQ(record(), "0: =ioctl(TIOCEXCL) error: Inappropriate ioctl for device (25)");
    root.remove(DEVICE);
    EXPECT_FALSE(port.is_available());
    EXPECT_EQ(port.start().unwrapErr(), "couldn't open modem: No such file or directory (2)");
}

TEST_F(AtTtyPortTest, ScansTheAnswerAmongReportsOfItsName)
{
    start();
    const std::pair<const char*, const char*> table[] = {
        {"+CREG: 5\r\n\r\n+CREG:0,1\r\n\r\n+CREG: 4", "0,1"},    // what fills most of the format,
        {"+CREG: 2,3\r\n\r\n+CREG: 0,1\r\n\r\n+CREG: x", "0,1"}, // the last such
        {"7,8", "7,8"},
        {"+CREG: 5", "5,-1"},
        {"+CREG: x", "-1,-1 13 format parsing failed"},
        {"x", "-1,-1 13 format parsing failed"},
    };
    for (const auto& [lines, values] : table) {
        EXPECT_EQ(scanned(lines), std::string("0: >AT+CREG? =") + values);
    }
    answers["AT+CGMM"] = std::string(3000, 'S') + " second";
    begin([this] {
        std::string word;
        return text_of(port.execute(AtCommand("+CGMM"), word)).substr(2995) + "; " + word;
    });
    finish();
    EXPECT_EQ(record(), "0: >AT+CGMM =SSSSS second; " + std::string(1024, 'S'));
    answers.erase("AT+CGMM");
    begin([this] {
        std::string word = "as it was";
        return text_of(port.execute(AtCommand("+CGMM", 1s), word)) + "; " + word;
    });
    finish();
    EXPECT_EQ(record(), "0: >AT+CGMM\n1000: =2 ; as it was");
}

TEST_F(AtTtyPortTest, ReportsGoToTheObserverWhoseFaultsStayItsOwn)
{
    start();
    answers["AT+CSQ"] = "+CSQ: 1\r\n\r\n+UUX: 1\r\n\r\n+CSQ: 2";
    say("\r\n+UUX: fault\r\n\r\n+CMEE: 2\r\n"); // the line of a query that only the port itself asks
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: >AT+CSQ !+UUX: fault !+UUX: 1 =+CSQ: 1+CSQ: 2");
}

// The module's lines are the first command's, so it gets back in step before it writes another.
TEST_F(AtTtyPortTest, GetsBackInStepWithAModuleThatOwesAnAnswer)
{
    start();
    answers["AT+CSQ"] = "+CSQ: 20,99";
    run(AtCommand("+UAUTHREQ=1,1,\"user\",\"geheim\"", 10s));
    EXPECT_EQ(record(), "0: >AT+UAUTHREQ=1,1,\"user\",\"geheim\"\n10000: =2 ");
    EXPECT_TRUE(log.contains(Level::NOTICE, "\"***\"' timeout!")) << log;
    expect_no_secret_above_debug("geheim");
    say("\r\nOK\r\n\r\n+UUX: 1\r\n"); // late, but that is all it owed
    settle();
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: !+UUX: 1 >AT+CSQ =+CSQ: 20,99");

    run(AtCommand("+LOST", 1s));
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: >AT+LOST\n1000: =2 \n1200: >AT+CMEE?\n1400: >AT+CSQ =+CSQ: 20,99");

    // The answer comes in the quiet that is waited for.
    run(AtCommand("+LATE", 1s));
    clock.at(100ms, [this] { say("\r\nOK\r\n"); });
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: >AT+LATE\n1000: =2 \n1400: >AT+CSQ =+CSQ: 20,99");

    // None of the queries is answered: each once, then the last of them for ever.
    answers.clear();
    run(AtCommand("+LOST", 1s));
    for (int i = 0; i < 3; ++i) {
        run(AtCommand("+CSQ"));
    }
    EXPECT_EQ(record(), "0: >AT+LOST\n1000: =2 \n"
                        "1200: >AT+CMEE?\n4600: >AT+CFUN?\n7800: =2 \n"
                        "8000: >AT+CGEREP?\n11400: >AT+CMER?\n14600: =2 \n"
                        "14800: >AT+CMER?\n18200: >AT+CMER?\n21400: =2 ");
    EXPECT_EQ(log.count("The module still owes an answer, '+CSQ' is not sent"), 3U);
    for (int i = 0; i < 7; ++i) { // a module that hangs is known by that too
        EXPECT_FALSE(port.is_timeout());
        run(AtCommand("+CSQ"));
    }
    EXPECT_TRUE(port.is_timeout());
}

TEST_F(AtTtyPortTest, AModuleThatNeverStopsReportingHoldsACommandUpForSomeSeconds)
{
    start();
    run(AtCommand("+LOST", 1s));
    record();
    for (int i = 1; i < 100; ++i) {
        clock.at(i * 140ms, [this] { say("\r\n+UUX: 1\r\n"); });
    }
    answers["AT+CSQ"] = "+CSQ: 20,99";
    run(AtCommand("+CSQ"));
    const auto seen = record();
    EXPECT_NE(seen.find("\n2200: >AT+CMEE?\n"), std::string::npos) << seen;
    EXPECT_NE(seen.find("\n6600: >AT+CSQ =+CSQ: 20,99"), std::string::npos) << seen;
}

TEST_F(AtTtyPortTest, AnOkTooManyAnswersNobody)
{
    start();
    run(AtCommand("+SLOW", 10s));
    heard = [this](const std::string& line) {
        const bool asked = line == "AT+CSQ";
        if (!asked) {
            say("\r\nOK\r\n\r\nOK\r\n"); // one of them is that of +SLOW
        }
        clock.at(1s, [this, text = asked ? "+CSQ: 20,99" : line.substr(2, line.size() - 3) + ": 1"] {
            say("\r\n" + text + "\r\n\r\nOK\r\n");
        });
    };
    run(AtCommand("+CSQ"));
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: >AT+SLOW\n10000: =2 \n10200: >AT+CMEE?\n11600: >AT+CSQ\n"
                        "12600: =+CSQ: 20,99 >AT+CSQ\n13600: =+CSQ: 20,99");
}

// While the port's thread is held up behind the gate.
TEST_F(AtTtyPortTest, WritesACommandAtOnceOrNotAtAll)
{
    start();
    answers["AT+CSQ"] = "+CSQ: 20,99";
    close_gate(true);
    say("\r\n+UUX: 1\r\n");
    settle();
    call(AtCommand("+LATE", 0s)); // over before it could be written
    close_gate(false);
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: !+UUX: 1 =2  >AT+CSQ =+CSQ: 20,99");

    run(AtCommand("+SLOW", 1s));
    close_gate(true);
    say("\r\n+UUX: 1\r\n\r\nOK\r\n"); // the OK of +SLOW: read, but behind the gate
    settle();
    call(AtCommand("+CSQ"));
    close_gate(false);
    finish();
    EXPECT_EQ(record(), "0: >AT+SLOW\n1000: =2  !+UUX: 1\n1200: >AT+CSQ =+CSQ: 20,99");

    close_gate(true);
    say("\r\n+UUX: 1\r\n");
    settle();
    call(AtCommand("+CSQ"));
    say("\r\n+UUX: 2\r\n"); // is read before the command is written
    close_gate(false);
    finish();
    EXPECT_EQ(record(), "0: !+UUX: 1 >AT+CSQ !+UUX: 2 =+CSQ: 20,99");
}

TEST_F(AtTtyPortTest, TheEleventhTimeoutInARowIsAVerdict)
{
    const auto silent = [this](int times) {
        for (int i = 0; i < times; ++i) {
            run(AtCommand("+SILENT", 1s));
        }
    };
    start();
    silent(10);
    EXPECT_FALSE(port.is_timeout());
    run(AtCommand(""));
    silent(10);
    EXPECT_FALSE(port.is_timeout());
    silent(1);
    EXPECT_TRUE(port.is_timeout());
    EXPECT_TRUE(port.stop().unwrap());
    record();
    start();
    EXPECT_FALSE(port.is_timeout());
}

TEST_F(AtTtyPortTest, AFailedWriteEndsTheCommandAndTheEleventhIsAVerdict)
{
    start();
    const auto fail = [this] {
        next_call::write = EIO;
        run(AtCommand("+CPIN=\"1234\""));
        EXPECT_EQ(record(), "0: =3 ERROR");
    };
    for (int i = 0; i < 10; ++i) {
        fail();
    }
    EXPECT_FALSE(port.is_write_error());
    fail();
    EXPECT_TRUE(port.is_write_error());
    run(AtCommand(""));
    EXPECT_FALSE(port.is_write_error());
    EXPECT_TRUE(log.contains(Level::ERROR, "Unable to write to port: 'AT+CPIN=\"***\"<CR><LF>' (Input/output "
                                           "error)"))
        << log;
    expect_no_secret_above_debug("1234");
}

TEST_F(AtTtyPortTest, AFaultOfOneCallIsNotTheEnd)
{
    start();
    answers["AT+CSQ"] = "+CSQ: 20,99";
    for (const int fault : {EAGAIN, EIO, next_call::NOTHING}) { // the thread rests, or it would spin
        next_call::read = fault;
        say("lost");
        settle();
        run(AtCommand("+CSQ"));
        EXPECT_EQ(record(), "100: >AT+CSQ =+CSQ: 20,99");
    }
    next_call::tcflush = EIO;
    call(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "");
    say("\r\n+UUX: 1\r\n"); // the thread looks again
    finish();
    EXPECT_EQ(record(), "0: >AT+CSQ !+UUX: 1 =+CSQ: 20,99");
    next_call::poll = EINTR;
    next_call::write = next_call::NOTHING; // a torso: the module says nothing
    run(AtCommand("+CSQ", 1s));
    EXPECT_EQ(record(), "1000: =2 ");
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "200: >AT+CMEE?\n400: >AT+CSQ =+CSQ: 20,99");
    next_call::poll = EIO; // but this is
    say("\r\n+UUX: 1\r\n");
    settle();
    EXPECT_FALSE(port.is_running());
}

TEST_F(AtTtyPortTest, AHangUpReleasesTheCommandAndThePortCanBeStartedAnew)
{
    start();
    call(AtCommand("+CPIN=\"1234\"", 60s));
    pass(1s);
    hang_up();
    EXPECT_EQ(record(), "0: >AT+CPIN=\"1234\"\n1000: =14 PORT_CLOSED");
    EXPECT_TRUE(log.contains(Level::ERROR, "poll() error/nval/hup")) << log;
    EXPECT_FALSE(port.is_running());
    expect_no_secret_above_debug("1234");
    plug_in();
    run(AtCommand(""));
    EXPECT_EQ(record(), "0: =14 Port is no longer reading or writing");
    EXPECT_TRUE(port.stop().unwrap());
    EXPECT_FALSE(port.stop().unwrap());
    start();
    run(AtCommand(""));
    EXPECT_EQ(record(), "0: >AT =");
}

TEST_F(AtTtyPortTest, AnInterruptionEndsTheCommandAndLaterOnesUntilItIsOver)
{
    start();
    answers["AT+CREG?"] = "+CREG: 0,1";
    call(AtCommand("+COPS=0", 180s));
    call(AtCommand("+COPS?", 180s));
    pass(1s);
    port.interrupt();
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: >AT+COPS=0\n1000: =14 AT command interrupted =14 AT command interrupted =14 AT "
                        "command interrupted");
    AtCommand power_off("+CPWROFF", 40s);
    power_off.interruptible = false;
    call(power_off);
    pass(1s);
    port.interrupt();
    settle();
    say("\r\nOK\r\n"); // of +COPS=0
    pass(1s);
    say("\r\nOK\r\n");
    settle();
    EXPECT_EQ(record(), "0: >AT+CPWROFF\n2000: =");
    EXPECT_TRUE(port.is_interrupted());
    port.resume();
    run(AtCommand("+CREG?"));
    EXPECT_EQ(record(), "0: >AT+CREG? =+CREG: 0,1");
    call(AtCommand("+COPS=0", 180s));
    call(AtCommand("+CSQ"));
    EXPECT_TRUE(port.stop().unwrap());
    settle();
    EXPECT_EQ(record(), "0: >AT+COPS=0 =14 AT command interrupted =14 Port is no longer reading or writing");
    EXPECT_FALSE(port.is_timeout());
}

TEST_F(AtTtyPortTest, ASecondCommandWaitsHalfAMinuteForItsTurn)
{
    start();
    call(AtCommand("+COPS=0", 180s));
    call(AtCommand("+CSQ"));
    pass(31s);
    answers["AT+CREG?"] = "+CREG: 0,1";
    call(AtCommand("+CREG?"));
    pass(10s);
    say("\r\nOK\r\n");
    finish();
    EXPECT_EQ(record(), "0: >AT+COPS=0\n30000: =1 Device is busy processing another command\n"
                        "41000: >AT+CREG? = =+CREG: 0,1");
}

// Commands are published while the loop ends: each must come back, or this test never does.
TEST_F(AtTtyPortTest, NoCommandIsLeftBehindWhenThePortStops)
{
    for (int round = 0; round < 30; ++round) {
        start();
        for (int i = 0; i < 2; ++i) {
            begin([this] {
                auto result = port.execute(AtCommand("", 1h));
                while (result.is_ok()) {
                    result = port.execute(AtCommand("", 1h));
                }
                return std::to_string(static_cast<int>(result.unwrapErr().code));
            });
        }
        int commands = 0;
        heard = [&](const std::string& line) {
            answer(line);
            if (++commands == 3) {
                begin([this] {
                    return std::to_string(port.is_available()) + std::to_string(port.stop().unwrap());
                });
            }
        };
        finish();
        const auto seen = record();
        EXPECT_EQ(seen.substr(seen.find('=')), "=14 =14 =11");
        heard = [this](const std::string& line) { answer(line); };
    }
}

TEST_F(AtTtyPortTest, GivesAMuteModuleThirtyTries)
{
    answers.clear();
    Stage::start();
    std::string tries;
    for (int i = 0; i < 30; ++i) {
        tries += std::to_string(2000 * i) + ": >AT\n";
    }
    EXPECT_EQ(record(), tries + "60000: =Modem does not respond to AT commands.");
    EXPECT_FALSE(port.is_running());
    EXPECT_EQ(log.count("timeout!"), 0U) << log;
}

TEST_F(AtTtyPortTest, ALateStarterThatAnswersEveryProbeIsThereOnceNothingFollows)
{
    heard = [this](const std::string& line) { clock.at(2050ms, [=, this] { answer(line); }); };
    Stage::start();
    EXPECT_EQ(record(), "0: >AT\n2000: >AT\n3200: >AT+CMEE?\n5450: =1");
    heard = [this](const std::string& line) { answer(line); };
    answers["AT+CSQ"] = "+CSQ: 20,99";
    run(AtCommand("+CSQ"));
    EXPECT_EQ(record(), "0: >AT+CSQ =+CSQ: 20,99");
}

} // namespace
