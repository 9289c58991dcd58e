#pragma once

#include "support/pty_wire.hpp"
#include "support/scripted_port.hpp"
#include "support/temp_root.hpp"

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <string>

/// The daemon's own port, thread and bytes included, at a module that answers as a ScriptedPort does: one
/// command after the other. Time passes while the thread that made it waits for an answer. Links with
/// `celld::wired_port`. That thread only, but for `execute` and what only asks.
class WiredPort final : public ScriptedPort {
public:
    /// What becomes of a command, in place of `bytes`, which are its answer.
    using Fault = std::function<void(WiredPort&, const AtCommand&, const std::string& bytes)>;

    WiredPort(ManualClock& clock, Family family, const TempRoot& root);
    ~WiredPort() override;

    using AtTtyPort::execute;
    Result execute(const AtCommand& command) override;
    PortResult start() override;
    PortResult stop() override { return AtTtyPort::stop(); }
    bool is_available() const override { return AtTtyPort::is_available(); }
    bool is_running() const override { return AtTtyPort::is_running(); }
    bool is_write_error() const override { return write_error || AtTtyPort::is_write_error(); }
    bool is_timeout() const override { return AtTtyPort::is_timeout(); }
    void interrupt() noexcept override;
    void resume() noexcept override { AtTtyPort::resume(); }
    bool is_interrupted() const noexcept override { return AtTtyPort::is_interrupted(); }
    void add_observer(IPortObserver* observer) override { AtTtyPort::add_observer(observer); }

    void let_others_work() override { settle(); }
    void urc(const std::string& line) override { say("\r\n" + line + "\r\n"); }
    void present(bool there) override;
    void supplied(bool on) override;
    /// The line goes and is back at once, under the same name.
    void loop_ended() override;

    /// Asked with every command that is heard.
    void fault(std::function<Fault(const AtCommand&)> which) { which_fault_ = std::move(which); }
    /// Told how each command of the daemon's ended, on its caller's thread.
    void on_result(std::function<void(const AtCommand&, const Result&)> told) { ended_ = std::move(told); }

    /// In one piece.
    void say(const std::string& bytes);
    /// The port has read each byte before the next one comes.
    void say_piecemeal(const std::string& bytes);
    /// Says nothing until then, and first of all this; what is heard meanwhile is answered in its turn.
    void say_after(std::chrono::milliseconds time, const std::string& bytes);

private:
    void take_the_line();
    void forget_what_is_owed();
    bool settle();
    void hear(const std::string& line);
    void answer(const std::string& line);
    static std::string bytes_of(const Answer* answer);

    ManualClock& clock_;
    const std::filesystem::path node_;
    PtyWire wire_;
    std::function<Fault(const AtCommand&)> which_fault_;
    std::function<void(const AtCommand&, const Result&)> ended_;
    std::deque<std::string> queue_; // heard while it is busy
    Clock::time_point busy_until_{};
    bool settling_ = false;
    std::atomic<bool> disturbed_{false}; // by what the threads have not yet done something about
};
