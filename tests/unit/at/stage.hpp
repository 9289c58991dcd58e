#pragma once

#include "at/at_tty_port.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/pty_wire.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <map>

/// The port on a pseudo-terminal whose other end the test itself plays, in virtual time: that stands while
/// anybody is at work or a byte is on its way, and then goes to the next event, however slow the machine is.
class Stage : public testing::Test, private IPortObserver {
protected:
    static constexpr const char* DEVICE = "/dev/ttyUbloxModemAT";

    Stage();
    ~Stage() override;

    // The module: answers what it has an answer for, with its lines and OK; is silent otherwise.
    void plug_in() { wire.plug_in(root.path(DEVICE)); }
    void hang_up() { wire.hang_up(); }
    void say(const std::string& bytes) { wire.say(bytes); }
    void answer(const std::string& line);
    std::map<std::string, std::string> answers{
        {"AT", ""}, {"AT+CMEE?", "+CMEE: 2"}, {"AT+CFUN?", "+CFUN: 1"}};
    /// In place of the answers.
    std::function<void(const std::string& line)> heard = [this](const std::string& line) { answer(line); };

    /// Somebody who uses the port, on a thread of its own; what is returned goes to the record.
    void begin(std::function<std::string()> work);
    /// From the wait for the device to an answer to "AT".
    std::string start();
    static std::string text_of(const Result& result);

    /// Step by step, "; " between them: "AT+CSQ 20" begins a command with 20 s to its time-out (or 10),
    /// "<RING" is said by the module, "wait 20" lets seconds pass, "end" waits until everybody has returned,
    /// "close" holds the port's thread up inside the observer until "open", "interrupt" and "resume" are the
    /// port's. Then the end, and what has happened since the last record.
    std::string play(const std::string& script);
    void step(const std::string& what);
    /// Until nobody is at work.
    void settle();
    void pass(std::chrono::milliseconds time);
    /// Until everybody has returned.
    void finish();
    /// A line an instant, "<ms>:" and then the lines (">") that the module has heard, the reports ("!") that
    /// the port has handed out, and how calls have ended ("=").
    std::string record();

    TempRoot root;
    LogCapture log;
    ManualClock clock;
    AtTtyPort port{{DEVICE}, clock};
    PtyWire wire;

private:
    void urc(const AtCommandResponse& response) override;
    void note(const std::string& text);

    std::vector<std::future<std::string>> calls_;
    std::string record_;
    Clock::time_point begin_ = clock.now();
    Clock::time_point noted_{};

    std::mutex mutex_; // guards the rest
    std::condition_variable gate_;
    bool closed_ = false;
    std::vector<std::string> reports_;
};
