#include "at/at_tty_port.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/pty_peer.hpp"
#include "support/sleeping_threads.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <random>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

// What has been written to terminals and what has been read from them: while a line is on its way, time
// stands.
namespace {
std::atomic<long> bytes_under_way{0};

bool is_terminal(int fd)
{
    return fd > STDERR_FILENO && ::isatty(fd) != 0;
}
} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's --wrap names them
extern "C" ssize_t __real_write(int fd, const void* bytes, size_t count);
extern "C" ssize_t __wrap_write(int fd, const void* bytes, size_t count)
{
    const long counted = is_terminal(fd) ? static_cast<long>(count) : 0;
    bytes_under_way += counted; // before the other side can read it
    const auto done = __real_write(fd, bytes, count);
    bytes_under_way -= counted > 0 ? counted - std::max<long>(done, 0) : 0;
    return done;
}
extern "C" ssize_t __real_read(int fd, void* bytes, size_t count);
extern "C" ssize_t __wrap_read(int fd, void* bytes, size_t count)
{
    const auto done = __real_read(fd, bytes, count);
    bytes_under_way -= is_terminal(fd) ? std::max<long>(done, 0) : 0;
    return done;
}
extern "C" int __real_tcflush(int fd, int what);
extern "C" int __wrap_tcflush(int fd, int what)
{
    int unread = 0;
    (void)::ioctl(fd, FIONREAD, &unread);
    bytes_under_way -= unread;
    return __real_tcflush(fd, what);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr const char* DEVICE = "/dev/ttyUbloxModemAT";

enum class Meanwhile { BUFFERS, LOSES };

/// Answers one command after the other, as a module does; some of them late. What comes meanwhile waits in
/// its buffer or is lost. Every answer but a bare OK carries its command and a number that comes once. In
/// virtual time.
class SerialModule {
public:
    using Delay = std::function<milliseconds(const std::string& line)>;

    /// What a command was, and whether and with what it has been answered.
    struct Heard {
        std::size_t serial = 0;
        bool answered = false;
        std::string text; ///< of the answer or of the error; empty for a bare OK
    };

    SerialModule(const std::filesystem::path& device, ManualClock& clock) : clock_(clock), peer_(device)
    {
        peer_.listen([this](const std::string& line) { heard(line); });
    }

    /// From now on.
    void answers_after(Delay delay, Meanwhile meanwhile = Meanwhile::BUFFERS)
    {
        const std::lock_guard held(mutex_);
        delay_ = std::move(delay);
        meanwhile_ = meanwhile;
    }
    /// `times` negative: always.
    void is_late(const std::string& late, milliseconds delay, int times, Meanwhile meanwhile)
    {
        answers_after(
            [=](const std::string& line) mutable {
                return line == late && times != 0 ? (--times, delay) : PACE;
            },
            meanwhile);
    }
    /// The newest of that line.
    Heard newest(const std::string& line)
    {
        const std::lock_guard held(mutex_);
        const auto found =
            std::find_if(heard_.rbegin(), heard_.rend(), [&](const auto& one) { return one.first == line; });
        return found == heard_.rend() ? Heard{} : found->second;
    }
    std::size_t count(const std::string& line) { return peer_.count(line); }
    bool owes_answers()
    {
        const std::lock_guard held(mutex_);
        return clock_.now() < busy_until_;
    }

private:
    static constexpr milliseconds PACE{10};

    void heard(const std::string& line)
    {
        const std::lock_guard held(mutex_);
        const auto now = clock_.now();
        if (meanwhile_ == Meanwhile::LOSES && now < busy_until_) {
            return;
        }
        busy_until_ = std::max(now, busy_until_) + delay_(line);
        heard_.emplace_back(line, Heard{heard_.size() + 1, false, ""});
        clock_.at(std::chrono::ceil<milliseconds>(busy_until_ - now),
                  [this, number = heard_.size() - 1] { answer(number); });
    }

    void answer(std::size_t number)
    {
        std::string text;
        std::string line;
        {
            const std::lock_guard held(mutex_);
            auto& [what, state] = heard_[number];
            line = what;
            if (is_bare_data(line)) {
                state.text = std::to_string(490154200000000 + state.serial);
            } else if ((line.find('?') != std::string::npos && line != "AT+CGDCONT?") || line == "AT+CSQ" ||
                       is_refused(line)) {
                state.text = '"' + line + "\"," + std::to_string(state.serial);
            }
            state.answered = true;
            text = state.text;
        }
        if (is_refused(line)) {
            peer_.send("\r\n+CME ERROR: " + text + "\r\n");
        } else if (text.empty() || is_bare_data(line)) {
            peer_.send((text.empty() ? "" : "\r\n" + text + "\r\n") + "\r\nOK\r\n");
        } else {
            const auto name = line.substr(2, line.find_first_of("?=", 2) - 2);
            peer_.send("\r\n" + name + ": " + text + "\r\n\r\nOK\r\n");
        }
    }

    static bool is_bare_data(const std::string& line) { return line == "AT+CGSN" || line == "AT+GMI"; }
    static bool is_refused(const std::string& line) { return line == "AT+CPIN?" || line == "AT+CGACT=1,1"; }

    ManualClock& clock_;
    std::mutex mutex_; // guards what follows
    Delay delay_ = [](const std::string&) { return PACE; };
    Meanwhile meanwhile_ = Meanwhile::BUFFERS;
    Clock::time_point busy_until_{};
    std::vector<std::pair<std::string, Heard>> heard_;
    PtyPeer peer_; // last: its thread uses the rest
};

class Reports final : public IPortObserver {
public:
    void urc(const AtCommandResponse& response) override
    {
        const std::lock_guard held(mutex_);
        seen_ += response.message + ";";
    }
    std::string seen()
    {
        const std::lock_guard held(mutex_);
        return seen_;
    }

private:
    std::mutex mutex_;
    std::string seen_;
};

class InStep : public testing::Test {
protected:
    ~InStep() override { static_cast<void>(port.stop()); } // before the module goes

    /// From one event to the next, each when everybody waits for it.
    template <class Work>
    auto passing_time(Work work)
    {
        auto done = std::async(std::launch::async, std::move(work));
        const auto is_done = [&] { return done.wait_for(0s) == std::future_status::ready; };
        while (!is_done()) {
            await_stillness();
            if (!is_done()) {
                clock.advance_to_next(1s);
            }
        }
        return done.get();
    }
    /// Nothing is on its way and all other threads sleep. What a flush may have taken is not waited for.
    static void await_stillness()
    {
        const auto give_up = std::chrono::steady_clock::now() + 2s;
        for (int still = 0; still < 2;) {
            if (bytes_under_way != 0 && std::chrono::steady_clock::now() > give_up) {
                bytes_under_way = 0;
            }
            still = bytes_under_way == 0 && other_threads_sleep() ? still + 1 : 0;
            std::this_thread::sleep_for(10us);
        }
    }
    void start()
    {
        port.add_observer(&reports);
        ASSERT_TRUE(port.wait_until_available());
        ASSERT_TRUE(passing_time([this] { return port.start(); }).is_ok());
    }
    /// Lets time pass with nobody waiting.
    void settle(std::chrono::seconds time)
    {
        const auto end = clock.now() + time;
        while (clock.now() < end) {
            await_stillness();
            clock.advance_to_next(std::chrono::ceil<milliseconds>(end - clock.now()));
        }
        await_stillness();
    }
    /// The command ends with its own answer or fails. Answers 1 when it was answered.
    int run(const std::string& command, std::chrono::seconds timeout = 2s)
    {
        const auto before = module.newest("AT" + command).serial;
        const auto result = passing_time([&] { return port.execute(AtCommand(command, timeout)); });
        if (!result.is_ok() && result.unwrapErr().code != AtErrorCode::CmeError) {
            return 0;
        }
        const auto own = module.newest("AT" + command);
        const auto text = result.is_ok() ? result.unwrap().message : result.unwrapErr().final_response;
        EXPECT_TRUE(own.serial > before && own.answered && text.ends_with(own.text) &&
                    own.text.empty() == (result.is_ok() && text.empty()))
            << command << " (" << own.text << ") took another's answer: '" << text << "'";
        return 1;
    }

    /// Whether a module that is through with everything is understood again; not how soon.
    bool comes_back(const std::string& query)
    {
        return run(query) == 1 || run(query) == 1 || run(query) == 1;
    }

    TempRoot root;
    LogCapture log{LogCapture::Level::NOTICE};
    ManualClock clock;
    SerialModule module{root.path(DEVICE), clock};
    Reports reports;
    AtTtyPort port{{DEVICE}, clock};
};

} // namespace

TEST_F(InStep, NoCommandTakesTheAnswerOfAnother)
{
    start();
    for (const auto meanwhile : {Meanwhile::BUFFERS, Meanwhile::LOSES}) {
        for (const char* late : {"+UREG?", "+COPS=2", "+CGSN"}) {
            for (const milliseconds delay : {1900ms, 2100ms, 7000ms, 40'000ms}) {
                SCOPED_TRACE(std::string(late) + " after " + std::to_string(delay.count()) + " ms");
                module.is_late(std::string("AT") + late, delay, 1, meanwhile);
                run(late);
                int good = 0;
                for (const char* next : {"+CGACT?", "+COPS=0", "+CSQ", "+CREG?", "+UANTR=0", "+CGSN"}) {
                    good += run(next);
                }
                EXPECT_TRUE(good > 0 || delay >= 9s);
                settle(delay > 9s ? 40s : 8s);
                EXPECT_TRUE(comes_back("+CREG?"));
            }
        }
    }
    EXPECT_EQ(reports.seen().find("+C"), std::string::npos) << reports.seen(); // no marker is a report
}

// Any answer of a dialogue is late by any time: one of them, or every other one. The module takes its time
// for the rest too.
TEST_F(InStep, WhateverIsLateACommandGetsItsOwnAnswerOrFails)
{
    constexpr auto TIMEOUT = 2s;
    constexpr int SEEDS = 100;
    start();
    std::vector<const char*> dialogue{"+CREG?",   "+CGREG?",    "+UREG?", "+CGACT?", "+COPS?",
                                      "+CSQ",     "+CGSN",      "+GMI",   "+COPS=0", "+COPS=2",
                                      "+UANTR=0", "+CGACT=1,1", "+CPIN?", "+CCLK?"};
    int answered = 0;
    for (int seed = 1; seed <= SEEDS && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(static_cast<unsigned>(seed));
        std::shuffle(dialogue.begin(), dialogue.end(), random);
        const auto one = std::string("AT") + dialogue[random() % dialogue.size()];
        const bool many = random() % 3 == 0;
        const auto pace = milliseconds(10 << random() % 9); // up to beyond the time-out
        const auto meanwhile = random() % 2 == 0 ? Meanwhile::BUFFERS : Meanwhile::LOSES;
        module.answers_after(
            [=](const std::string& line) mutable {
                if (many ? random() % 2 == 0 : line != one) {
                    return pace;
                }
                const milliseconds later[] = {0ms, 100ms, 5s, 30s, 200s};
                return TIMEOUT - 50ms + later[random() % 5] + milliseconds(random() % 100);
            },
            meanwhile);
        for (const char* command : dialogue) {
            answered += run(command, TIMEOUT);
        }
        module.answers_after([](const auto&) { return 10ms; });
        while (module.owes_answers()) {
            settle(10s);
        }
        EXPECT_TRUE(comes_back("+CGDCONT?")); // a query without lines
    }
    EXPECT_GT(answered, SEEDS * 5) << "too little to tell";
}

TEST_F(InStep, AModuleThatIsAlwaysLateGetsItsOwnAnswersOrFailures)
{
    start();
    module.is_late("AT+UREG?", 2500ms, -1, Meanwhile::BUFFERS);
    int good = 0;
    for (int round = 0; round < 5; ++round) {
        run("+UREG?");
        good += run("+CGACT?");
    }
    EXPECT_EQ(good, 5);
    EXPECT_FALSE(port.is_timeout());
}

TEST_F(InStep, ALateStarterThatAnswersEveryProbeIsThereOnceNothingFollows)
{
    module.answers_after([](const auto&) { return 2050ms; });
    start();
    module.answers_after([](const auto&) { return 10ms; });
    EXPECT_EQ(run("+GMM?"), 1);
    EXPECT_EQ(run("+CGSN"), 1);
    EXPECT_EQ(run("+COPS=2"), 1);
}

TEST_F(InStep, AHungModuleIsKnownWithinThreeMinutes)
{
    start();
    module.is_late("AT+CGACT?", 1h, 1, Meanwhile::BUFFERS);
    EXPECT_EQ(run("+CGACT?"), 0);
    const auto first = clock.now();
    int commands = 1;
    while (!port.is_timeout() && commands < 20) {
        run("+COPS?", 180s);
        ++commands;
    }
    EXPECT_EQ(commands, 11);
    EXPECT_LE(clock.now() - first, 2min);
    EXPECT_EQ(log.count("The module still owes an answer, '+COPS?' is not sent"), 10U);
}

TEST_F(InStep, AnInterruptionEndsTheCommandAndTheNextIsInStep)
{
    start();
    module.is_late("AT+COPS=0", 5s, 1, Meanwhile::BUFFERS);
    auto slow = std::async(std::launch::async, [this] { return port.execute(AtCommand("+COPS=0", 180s)); });
    clock.await_waiters(1);
    port.interrupt();
    const auto given_up = slow.get();
    ASSERT_FALSE(given_up.is_ok());
    EXPECT_TRUE(given_up.unwrapErr().is_interruption());
    EXPECT_TRUE(port.is_interrupted());
    EXPECT_EQ(run("+CSQ"), 0); // at once
    AtCommand power_off("+CPWROFF", 40s);
    power_off.interruptible = false;
    EXPECT_TRUE(passing_time([&] { return port.execute(power_off); }).is_ok());
    EXPECT_EQ(module.count("AT+CPWROFF"), 1U);
    EXPECT_TRUE(module.newest("AT+CPWROFF").answered);
    port.resume();
    EXPECT_EQ(run("+CREG?"), 1);
    EXPECT_FALSE(port.is_timeout());
}
