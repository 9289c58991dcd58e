#include "at/at_tty_port.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/pty_peer.hpp"
#include "support/sleeping_threads.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <optional>
#include <termios.h>

namespace {

using namespace std::chrono_literals;
using Level = LogCapture::Level;

constexpr const char* DEVICE = "/dev/ttyUbloxModemAT";
constexpr std::string_view UNWRITABLE = "AT+CPIN=";

std::atomic<bool> writes_fail{false};

int code(const Result& result)
{
    return result.is_ok() ? 0 : static_cast<int>(result.unwrapErr().code);
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's --wrap names them
extern "C" ssize_t __real_write(int fd, const void* bytes, size_t count);
extern "C" ssize_t __wrap_write(int fd, const void* bytes, size_t count)
{
    if (writes_fail && count > UNWRITABLE.size() &&
        std::memcmp(bytes, UNWRITABLE.data(), UNWRITABLE.size()) == 0) {
        errno = EIO;
        return -1;
    }
    return __real_write(fd, bytes, count);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class UrcList final : public IPortObserver {
public:
    void urc(const AtCommandResponse& response) override
    {
        std::unique_lock held(mutex_);
        seen_ += response.message + ";";
        changed_.notify_all();
        gate_.wait(held, [this] { return !closed_; });
    }
    // While it is closed, the port's thread stays inside the observer.
    void close_gate(bool closed)
    {
        const std::lock_guard held(mutex_);
        closed_ = closed;
        gate_.notify_all();
    }
    std::string seen()
    {
        const std::lock_guard held(mutex_);
        return seen_;
    }
    bool await(const std::string& text)
    {
        std::unique_lock held(mutex_);
        return changed_.wait_until(held, std::chrono::steady_clock::now() + 5s,
                                   [&] { return seen_.find(text) != std::string::npos; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::condition_variable gate_;
    std::string seen_;
    bool closed_ = false;
};

class AtTtyPortTest : public testing::Test {
protected:
    // Lets the clock run while nobody is at work, a hundred times as fast as the machine's at most, until
    // `work` is done.
    template <class Work>
    auto passing_time(Work work)
    {
        return passing_until(std::async(std::launch::async, std::move(work)));
    }
    template <class Value>
    Value passing_until(std::future<Value> done)
    {
        while (done.wait_for(100us) != std::future_status::ready) {
            if (other_threads_sleep()) {
                clock.advance(10ms);
            }
        }
        return done.get();
    }
    void start()
    {
        port.add_observer(&urcs);
        ASSERT_TRUE(port.wait_until_available());
        const auto started = passing_time([this] { return port.start(); });
        ASSERT_TRUE(started.is_ok()) << started.unwrapErr();
    }
    Result run(const std::string& command, std::chrono::seconds timeout = 10s)
    {
        return passing_time([&] { return port.execute(AtCommand(command, timeout)); });
    }
    // A command that the module has read and leaves without an answer.
    std::future<Result> begin_silent(const std::string& command, std::chrono::seconds timeout)
    {
        auto result =
            std::async(std::launch::async, [=, this] { return port.execute(AtCommand(command, timeout)); });
        EXPECT_TRUE(module->await_line("AT" + command));
        EXPECT_TRUE(clock.await_waiters(1));
        return result;
    }
    void expect_no_secret_above_debug(const std::string& secret)
    {
        for (const auto& record : log.records()) {
            EXPECT_TRUE(record.level == Level::DEBUG || record.text.find(secret) == std::string::npos)
                << record.text;
        }
    }

    TempRoot root;
    LogCapture log;
    ManualClock clock;
    std::optional<PtyPeer> module{std::in_place, root.path(DEVICE)};
    UrcList urcs;
    AtTtyPort port{{DEVICE}, clock};
};

TEST_F(AtTtyPortTest, TakesTheCandidatesInTurnTwentySecondsEach)
{
    AtTtyPort two({"/dev/absent", DEVICE}, clock);
    const auto begin = clock.now();
    EXPECT_TRUE(two.wait_until_available());
    EXPECT_EQ(clock.now() - begin, 20s);
    EXPECT_TRUE(log.contains(Level::NOTICE, std::string("Port ") + DEVICE + " became ready after 0 tries!"))
        << log;

    AtTtyPort none({"/dev/absent"}, clock);
    clock.at(50s, [&] { none.stop_wait_until_available(); });
    EXPECT_FALSE(none.wait_until_available());
    EXPECT_EQ(log.count("Try to open TTY port /dev/absent"), 1U + 3U) << log;
    EXPECT_FALSE(AtTtyPort({}, clock).wait_until_available());
}

TEST_F(AtTtyPortTest, OpensTheLineRawAndScansAnswers)
{
    termios line = {};
    ASSERT_EQ(::tcgetattr(module->device_fd(), &line), 0);
    line.c_iflag = ICRNL | INPCK; // as another program may have left it
    line.c_cflag |= PARENB | CSTOPB | CRTSCTS;
    ASSERT_EQ(::tcsetattr(module->device_fd(), TCSANOW, &line), 0);
    start();
    EXPECT_FALSE(port.start().unwrap());
    ASSERT_EQ(::tcgetattr(module->device_fd(), &line), 0);
    EXPECT_EQ(line.c_cflag & tcflag_t(CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t(CS8));
    EXPECT_EQ(line.c_lflag & tcflag_t(ICANON | ECHO), 0U);
    EXPECT_EQ(line.c_iflag & tcflag_t(ICRNL | INPCK | IXON | IXOFF), tcflag_t(IXON | IXOFF));
    EXPECT_EQ(line.c_oflag & tcflag_t(OPOST), 0U);
    EXPECT_EQ(::cfgetospeed(&line), speed_t(B115200));

    // Reports of the same prefix in front of the answer and behind it, one of another in between.
    module->answers("AT+CREG?", "\r\n+CREG: 5\r\n\r\n+UUX: 1\r\n\r\n+CREG:0,1\r\n\r\n+CREG: 4\r\n\r\nOK\r\n");
    int mode = -1;
    int status = -1;
    ASSERT_EQ(code(port.execute(AtCommand("+CREG?"), "%d,%d", &mode, &status)), 0);
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(urcs.seen(), "+UUX: 1;"); // before the answer
    const auto refused = port.execute(AtCommand("+CREG?"), "x%d", &mode);
    EXPECT_EQ(code(refused), 13);
    EXPECT_EQ(refused.unwrapErr().final_response, "format parsing failed");

    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i) { // each wakes the port thread, or it would sleep 100 ms before every one
        ASSERT_EQ(code(port.execute(AtCommand(""))), 0);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);

    std::string word;
    module->answers("AT+CGMM", "\r\n" + std::string(3000, 'S') + " second\r\n\r\nOK\r\n");
    ASSERT_EQ(code(port.execute(AtCommand("+CGMM"), word)), 0);
    EXPECT_EQ(word, std::string(1024, 'S'));
}

TEST_F(AtTtyPortTest, DropsALateOkAfterATimeout)
{
    start();
    auto result = begin_silent("+UAUTHREQ=1,1,\"user\",\"geheim\"", 10s);
    clock.advance(9999ms);
    EXPECT_NE(result.wait_for(0s), std::future_status::ready);
    clock.advance(1ms);
    EXPECT_EQ(code(result.get()), 2);
    EXPECT_TRUE(log.contains(Level::NOTICE, "\"***\"' timeout!")) << log;
    module->send("\r\nOK\r\n\r\n+UUX: 1\r\n");
    ASSERT_TRUE(urcs.await("+UUX: 1")); // the OK has been seen
    module->answers("AT+CSQ", "\r\n+CSQ: 20,99\r\n\r\nOK\r\n");
    int rssi = 0;
    EXPECT_EQ(code(port.execute(AtCommand("+CSQ"), "%d", &rssi)), 0);
    EXPECT_EQ(rssi, 20);
    expect_no_secret_above_debug("geheim");
}

TEST_F(AtTtyPortTest, AnOkTooManyAnswersNobody)
{
    start();
    auto given_up = begin_silent("+SLOW", 10s);
    clock.advance(10s);
    EXPECT_EQ(code(given_up.get()), 2);
    module->listen([this](const std::string& line) {
        const bool asked = line == "AT+CSQ";
        if (!asked) {
            module->send("\r\nOK\r\n\r\nOK\r\n"); // one of them is that of +SLOW
        }
        clock.at(1s, [this, text = asked ? "+CSQ: 20,99" : line.substr(2, line.size() - 3) + ": 1"] {
            module->send("\r\n" + text + "\r\n\r\nOK\r\n");
        });
    });
    for (int round = 0; round < 3; ++round) {
        const auto result = run("+CSQ");
        EXPECT_EQ(result.is_ok() ? result.unwrap().message : "+CSQ: 20,99", "+CSQ: 20,99");
    }
}

TEST_F(AtTtyPortTest, DoesNotWriteACommandThatTimedOutBefore)
{
    start();
    urcs.close_gate(true);
    module->send("\r\n+UUX: 1\r\n");
    ASSERT_TRUE(urcs.await("+UUX: 1"));
    EXPECT_EQ(code(port.execute(AtCommand("+LATE", 0s))), 2);
    urcs.close_gate(false);
    module->send("\r\n+UUX: 2\r\n");
    ASSERT_TRUE(urcs.await("+UUX: 2")); // the thread has been round
    EXPECT_EQ(code(port.execute(AtCommand(""))), 0);
    EXPECT_EQ(module->count("AT+LATE"), 0U);
}

TEST_F(AtTtyPortTest, DoesNotAnswerACommandThatIsNotYetWritten)
{
    start();
    auto given_up = begin_silent("+SLOW", 10s);
    clock.advance(10s);
    EXPECT_EQ(code(given_up.get()), 2);
    urcs.close_gate(true);
    module->send("\r\n+UUX: 1\r\n\r\nOK\r\n"); // the OK of +SLOW: read, but behind the gate
    ASSERT_TRUE(urcs.await("+UUX: 1"));
    module->answers("AT+CSQ", "\r\n+CSQ: 20,99\r\n\r\nOK\r\n");
    auto answer = std::async(std::launch::async, [&] { return port.execute(AtCommand("+CSQ")); });
    ASSERT_TRUE(clock.await_waiters(1));
    urcs.close_gate(false);
    EXPECT_EQ(passing_until(std::move(answer)).unwrap().value, "20,99");
}

TEST_F(AtTtyPortTest, TheEleventhTimeoutInARowIsAVerdict)
{
    start();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(code(run("+SILENT", 1s)), 2);
    }
    EXPECT_FALSE(port.is_timeout());
    EXPECT_EQ(code(run("+SILENT", 1s)), 2);
    EXPECT_TRUE(port.is_timeout());
    EXPECT_EQ(code(run("")), 0);
    EXPECT_FALSE(port.is_timeout());
}

TEST_F(AtTtyPortTest, AFailedWriteEndsTheCommandAndTheEleventhIsAVerdict)
{
    start();
    writes_fail = true;
    for (int i = 0; i < 11; ++i) {
        EXPECT_FALSE(port.is_write_error());
        const auto result = port.execute(AtCommand("+CPIN=\"1234\""));
        ASSERT_EQ(code(result), 3);
        EXPECT_EQ(result.unwrapErr().message,
                  "AT+CPIN=\"***\"<CR><LF> (port-writing-error: 'Input/output error')");
    }
    EXPECT_TRUE(port.is_write_error());
    writes_fail = false;
    EXPECT_EQ(code(port.execute(AtCommand(""))), 0);
    EXPECT_FALSE(port.is_write_error());
    EXPECT_TRUE(log.contains(Level::ERROR, "Unable to write to port: 'AT+CPIN=\"***\"")) << log;
    expect_no_secret_above_debug("1234");
}

TEST_F(AtTtyPortTest, AHangUpReleasesTheCommandAndThePortCanBeStartedAnew)
{
    start();
    auto result = begin_silent("+CPIN=\"1234\"", 60s);
    module->hang_up();
    const auto released = result.get();
    EXPECT_EQ(code(released), 14);
    EXPECT_EQ(released.unwrapErr().final_response, "PORT_CLOSED");
    EXPECT_TRUE(log.contains(Level::ERROR, "poll() error/nval/hup")) << log;
    EXPECT_FALSE(port.is_running());
    EXPECT_EQ(code(port.execute(AtCommand(""))), 14);
    expect_no_secret_above_debug("1234");

    module.reset();
    module.emplace(root.path(DEVICE));
    EXPECT_FALSE(port.is_running());
    EXPECT_TRUE(port.stop().unwrap());
    EXPECT_FALSE(port.stop().unwrap());
    start();
    EXPECT_EQ(code(port.execute(AtCommand(""))), 0);
}

TEST_F(AtTtyPortTest, AStopInterruptsTheCommand)
{
    start();
    auto result = begin_silent("+COPS=0", 180s);
    EXPECT_TRUE(port.stop().unwrap());
    EXPECT_EQ(code(result.get()), 14);
    EXPECT_TRUE(log.contains(Level::ERROR, "indicated an exception: AT command interrupted")) << log;
    EXPECT_TRUE(port.is_available()); // the node again, the descriptor is closed
    root.remove(DEVICE);
    EXPECT_FALSE(port.is_available());
}

TEST_F(AtTtyPortTest, ASecondCommandWaitsHalfAMinuteForItsTurn)
{
    start();
    auto first = begin_silent("+COPS=0", 180s);
    auto second = std::async(std::launch::async, [&] { return port.execute(AtCommand("+CSQ")); });
    ASSERT_TRUE(clock.await_waiters(2));
    clock.advance(30s);
    EXPECT_EQ(code(second.get()), 1);
    module->send("\r\nOK\r\n");
    EXPECT_EQ(code(first.get()), 0);
    EXPECT_EQ(module->count("AT+CSQ"), 0U);
}

// Commands are published while the loop ends: each must come back, or this test never does.
TEST_F(AtTtyPortTest, NoCommandIsLeftBehindWhenThePortStops)
{
    for (int round = 0; round < 30; ++round) {
        start();
        const auto until_stopped = [&] {
            int last = 0;
            while ((last = code(port.execute(AtCommand("", 1h)))) == 0) {
            }
            return last;
        };
        auto one = std::async(std::launch::async, until_stopped);
        auto two = std::async(std::launch::async, until_stopped);
        auto watch = std::async(std::launch::async, [&] { return port.is_available(); });
        ASSERT_TRUE(module->await_line("AT", module->count("AT") + 3));
        EXPECT_TRUE(port.stop().unwrap());
        EXPECT_EQ(one.get(), 14);
        EXPECT_EQ(two.get(), 14);
        EXPECT_TRUE(watch.get());
    }
}

TEST_F(AtTtyPortTest, GivesAMuteModuleThirtyTries)
{
    module->answers("AT", "");
    ASSERT_TRUE(port.wait_until_available());
    const auto begin = clock.now();
    const auto started = passing_time([this] { return port.start(); });
    EXPECT_EQ(module->count("AT"), 30U);
    EXPECT_GE(clock.now() - begin, 59s);
    EXPECT_EQ(started.unwrapErr(), "Modem does not respond to AT commands.");
    EXPECT_FALSE(port.is_running());
    EXPECT_EQ(log.count("timeout!"), 0U) << log;
}

TEST_F(AtTtyPortTest, KeepsNoDescriptorOfAFailedOpen)
{
    root.remove(DEVICE);
    root.write(DEVICE, "not a terminal");
    ASSERT_TRUE(port.wait_until_available());
    EXPECT_EQ(port.start().unwrapErr(), "ioctl(TIOCEXCL) error: Inappropriate ioctl for device (25)");
    root.remove(DEVICE);
    EXPECT_FALSE(port.is_available());
    EXPECT_EQ(port.start().unwrapErr(), "couldn't open modem: No such file or directory (2)");
}

} // namespace
