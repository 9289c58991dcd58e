#pragma once

#include "at/at_tty_port.hpp"
#include "at/unique_fd.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <map>

/// What the system's next call for the port ends with, once: an errno, or NOTHING for a call that does
/// nothing.
namespace next_call {
constexpr int NOTHING = -1;
extern std::atomic<int> poll;
extern std::atomic<int> read;
extern std::atomic<int> write;
extern std::atomic<int> tcflush;
} // namespace next_call

/// A pause is a wait like others: only the stage moves the time.
class StageClock final : public Clock {
public:
    explicit StageClock(ManualClock& inner) : inner_(inner) {}

    time_point now() const override { return inner_.now(); }
    std::chrono::system_clock::time_point wall_now() const override { return inner_.wall_now(); }
    void sleep_for(std::chrono::milliseconds pause) override;
    void sleep_for(std::chrono::milliseconds pause, const Wakeup& wakeup) override;
    bool wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& held,
                    time_point deadline) override;

private:
    ManualClock& inner_;
    std::mutex mutex_; // outlives every wait
    std::condition_variable nobody_;
};

/// The port on a pseudo-terminal whose other end the test itself plays, in virtual time: that stands while
/// anybody is at work or a byte is on its way, and then goes to the next event, however slow the machine is.
/// The port's thread waits without a limit, so that a wake-up that is missed shows.
class Stage : public testing::Test, private IPortObserver {
protected:
    static constexpr const char* DEVICE = "/dev/ttyUbloxModemAT";

    Stage();
    ~Stage() override;

    // The module: answers what it has an answer for, with its lines and OK; is silent otherwise.
    void plug_in();
    void hang_up();
    void say(const std::string& bytes);
    void answer(const std::string& line);
    std::map<std::string, std::string> answers{
        {"AT", ""}, {"AT+CMEE?", "+CMEE: 2"}, {"AT+CFUN?", "+CFUN: 1"}};
    /// In place of the answers.
    std::function<void(const std::string& line)> heard = [this](const std::string& line) { answer(line); };

    // Those who use the port, each on a thread of its own; what they return goes to the record.
    void begin(std::function<std::string()> work);
    /// One command that has begun when this returns.
    void call(const AtCommand& command);
    /// One command and its whole time.
    void run(const AtCommand& command);
    static std::string text_of(const Result& result);
    /// From the wait for the device to an answer to "AT".
    void start();
    /// While it is closed the port's thread stays inside the observer.
    void close_gate(bool closed);

    // Time
    void settle();
    void pass(std::chrono::milliseconds time);
    /// Until everybody has returned.
    void finish();

    /// What has happened since the last question: a line an instant, "<ms>:" and then the lines (">") that
    /// the module has heard, the reports ("!") that the port has handed out, and how calls have ended ("=").
    std::string record();

    TempRoot root;
    LogCapture log;
    ManualClock clock;
    StageClock stage_clock{clock};
    AtTtyPort port{{DEVICE}, stage_clock};
    UniqueFd device; // held open, or the module's end reads errors while no port is open

private:
    void urc(const AtCommandResponse& response) override;
    bool hear();
    void note(const std::string& text);

    UniqueFd module_;
    std::string input_;
    std::vector<std::future<std::string>> calls_;
    std::string record_;
    Clock::time_point begin_ = clock.now();
    Clock::time_point noted_{};

    std::mutex mutex_; // guards the rest
    std::condition_variable gate_;
    bool closed_ = false;
    std::vector<std::string> reports_;
};
