#include "at/at_tty_port.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/pty_peer.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <thread>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr const char* DEVICE = "/dev/ttyUbloxModemAT";

/// Answers one command after the other, as a module does; some of them late. What comes meanwhile waits in
/// its buffer or is lost. In virtual time.
class SerialModule {
public:
    enum class Meanwhile { BUFFERS, LOSES };

    SerialModule(const std::filesystem::path& device, ManualClock& clock) : clock_(clock), peer_(device)
    {
        peer_.listen([this](const std::string& line) { heard(line); });
    }

    /// From now on; `times` negative: always.
    void is_late(const std::string& line, milliseconds delay, int times, Meanwhile meanwhile)
    {
        const std::lock_guard held(mutex_);
        late_ = line;
        delay_ = delay;
        times_ = times;
        meanwhile_ = meanwhile;
    }
    void every_answer_takes(milliseconds pace)
    {
        const std::lock_guard held(mutex_);
        pace_ = pace;
    }
    /// How often that command has been answered.
    std::size_t answered(const std::string& line)
    {
        const std::lock_guard held(mutex_);
        return static_cast<std::size_t>(std::count(answered_.begin(), answered_.end(), line));
    }

private:
    void heard(const std::string& line)
    {
        const std::lock_guard held(mutex_);
        const auto now = clock_.now();
        if (meanwhile_ == Meanwhile::LOSES && now < busy_until_) {
            return;
        }
        auto takes = pace_;
        if (line == late_ && times_ != 0) {
            --times_;
            takes = delay_;
        }
        busy_until_ = std::max(now, busy_until_) + takes;
        clock_.at(std::chrono::ceil<milliseconds>(busy_until_ - now), [this, line] { answer(line); });
    }

    void answer(const std::string& line)
    {
        const auto query = line.find('?');
        std::string text;
        if (query != std::string::npos) {
            text = "\r\n" + line.substr(2, query - 2) + ": 1,1\r\n";
        } else if (line == "AT+CGSN") {
            text = "\r\n490154203237518\r\n";
        } else if (line == "AT+CSQ") {
            text = "\r\n+CSQ: 1,1\r\n";
        }
        {
            const std::lock_guard held(mutex_);
            answered_.push_back(line);
        }
        peer_.send(text + "\r\nOK\r\n");
    }

    ManualClock& clock_;
    std::mutex mutex_; // guards what follows
    std::string late_;
    milliseconds delay_{0};
    int times_ = 0;
    Meanwhile meanwhile_ = Meanwhile::BUFFERS;
    milliseconds pace_{10};
    Clock::time_point busy_until_{};
    std::vector<std::string> answered_;
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

    template <class Work>
    auto passing_time(Work work)
    {
        auto done = std::async(std::launch::async, std::move(work));
        while (done.wait_for(100us) != std::future_status::ready) {
            clock.advance(20ms);
        }
        return done.get();
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
        for (milliseconds left = time; left > 0ms; left -= 20ms) {
            clock.advance(20ms);
            std::this_thread::sleep_for(50us); // for real: what the module says has to come through
        }
    }
    /// The command ends with its own answer or fails. Answers 1 when it succeeded.
    int run(const std::string& command, std::chrono::seconds timeout = 2s)
    {
        const auto before = module.answered("AT" + command);
        const auto result = passing_time([&] { return port.execute(AtCommand(command, timeout)); });
        if (!result.is_ok()) {
            return 0;
        }
        const auto& text = result.unwrap().message;
        EXPECT_GT(module.answered("AT" + command), before)
            << command << " took another's answer: '" << text << "'";
        const auto query = command.find('?');
        if (query != std::string::npos) {
            EXPECT_NE(text.find(command.substr(0, query) + ":"), std::string::npos)
                << command << ": '" << text << "'";
        }
        return 1;
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
    for (const auto meanwhile : {SerialModule::Meanwhile::BUFFERS, SerialModule::Meanwhile::LOSES}) {
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
                EXPECT_EQ(run("+CREG?"), 1); // and it always comes back
            }
        }
    }
    EXPECT_EQ(reports.seen().find("+C"), std::string::npos) << reports.seen(); // no marker is a report
}

TEST_F(InStep, AModuleThatIsAlwaysLateGetsItsOwnAnswersOrFailures)
{
    start();
    module.is_late("AT+UREG?", 2500ms, -1, SerialModule::Meanwhile::BUFFERS);
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
    module.every_answer_takes(2050ms);
    start();
    module.every_answer_takes(10ms);
    EXPECT_EQ(run("+GMM?"), 1);
    EXPECT_EQ(run("+CGSN"), 1);
    EXPECT_EQ(run("+COPS=2"), 1);
}

TEST_F(InStep, AHungModuleIsKnownWithinThreeMinutes)
{
    start();
    module.is_late("AT+CGACT?", 1h, 1, SerialModule::Meanwhile::BUFFERS);
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
    module.is_late("AT+COPS=0", 5s, 1, SerialModule::Meanwhile::BUFFERS);
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
    EXPECT_EQ(module.answered("AT+CPWROFF"), 1U);
    port.resume();
    EXPECT_EQ(run("+CREG?"), 1);
    EXPECT_FALSE(port.is_timeout());
}
