#pragma once

#include "at/at_tty_port.hpp"
#include "support/manual_clock.hpp"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

/// The AT port as a dialogue: each command has its answer, and a silent one costs its time-out on the manual
/// clock. A command that neither the test nor the family's defaults know fails the test by name.
///
/// The thread that made it lets the time pass, and has all but `execute` and `interrupt` for itself. Another
/// one's commands wait for their turn, as they do for a port, and their time-outs for the clock.
class ScriptedPort : public AtTtyPort {
public:
    enum class Family { SARA, TOBY };

    ScriptedPort(ManualClock& clock, Family family);

    using AtTtyPort::execute;
    Result execute(const AtCommand& command) override;
    PortResult start() override;
    PortResult stop() override;
    bool wait_until_available() override { return is_available(); }
    void stop_wait_until_available() override {}
    bool is_available() const override { return present_ && supplied_; }
    bool is_running() const override { return running_; }
    bool is_write_error() const override { return write_error; }
    bool is_timeout() const override { return timeouts_ > 10; }
    void interrupt() noexcept override;
    void resume() noexcept override { interrupted_ = false; }
    bool is_interrupted() const noexcept override { return interrupted_; }
    void add_observer(IPortObserver* observer) override { observer_ = observer; }

    /// From now on. `lines` as the parser joins them; empty for a bare OK.
    void answers(const std::string& command, const std::string& lines);
    void fails(const std::string& command, const std::string& final_line);
    void is_silent(const std::string& command);
    /// The lines that it has for the command; none for one that it fails or does not know.
    std::string answer_to(const std::string& command) const;
    /// Runs on every execution of the command, before its answer.
    void on(const std::string& command, std::function<void()> action)
    {
        actions_[command] = std::move(action);
    }
    /// Until the other threads have done what there is to do.
    virtual void let_others_work();

    /// Told of every command that is sent, before its answer.
    void on_command(std::function<void(const AtCommand&)> told) { told_ = std::move(told); }
    /// Asked with every command that is sent for what becomes of it in place of its answer.
    void overruled_by(std::function<std::optional<Result>(const AtCommand&)> overrule)
    {
        overrule_ = std::move(overrule);
    }
    /// Costs the command its time-out, unless it is interrupted.
    Result unanswered(const AtCommand& command) { return unanswered(command.timeout, command); }
    virtual void urc(const std::string& line);

    /// The port is there and says nothing, whatever it is asked.
    void mute(bool silent) { mute_ = silent; }
    /// The device, as power and faults take it away and bring it back.
    virtual void present(bool there);
    /// Without its supply it is not there either.
    virtual void supplied(bool on);
    /// The loop has ended by itself although the node is there.
    virtual void loop_ended() { running_ = false; }

    bool write_error = false;     ///< until it is started anew
    bool refuses_unknown = false; ///< as a module does, in place of failing the test

    /// How often it was sent since `forget`.
    std::size_t count(const std::string& command) const;
    /// The commands sent, oldest first.
    const std::vector<std::string>& sent() const { return sent_; }
    void forget() { sent_.clear(); }

protected:
    struct Answer {
        std::string lines;
        std::string final_line = "OK";
        bool silent = false;
    };

    bool lets_time_pass() const { return std::this_thread::get_id() == time_passes_on_; }
    /// Counts and tells of a command, and does what is to be done with it.
    void heard(const AtCommand& command);
    /// Null for a command that nobody knows, which then fails the test unless it is to be refused.
    const Answer* known(const AtCommand& command) const;
    bool is_mute() const { return mute_; }

private:
    class Turn;

    void take_turn();
    void end_turn();
    Result carry_out(const AtCommand& command);
    Result unanswered(std::chrono::milliseconds silence, const AtCommand& command);
    bool pass_in_silence(std::chrono::milliseconds silence, const AtCommand& command);
    bool wait_in_silence(std::chrono::milliseconds silence, const AtCommand& command);

    ManualClock& clock_;
    const std::thread::id time_passes_on_ = std::this_thread::get_id();
    std::mutex turns_;    // guards the next three; never held while a command is carried out
    bool wanted_ = false; // by the thread that lets time pass, whom the others let go first
    bool busy_ = false;
    int waiting_ = 0; // of the other threads
    std::condition_variable turn_over_;
    std::mutex silence_; // waited with by the other threads
    std::condition_variable silence_over_;
    std::map<std::string, Answer> answers_;
    std::map<std::string, std::function<void()>> actions_;
    std::function<std::optional<Result>(const AtCommand&)> overrule_;
    std::function<void(const AtCommand&)> told_;
    std::vector<std::string> sent_;
    IPortObserver* observer_ = nullptr;
    std::atomic<bool> present_{true};  // asked by the waiting thread too
    std::atomic<bool> supplied_{true}; // likewise
    std::atomic<bool> running_{false};
    std::atomic<bool> interrupted_{false};
    int timeouts_ = 0;
    bool mute_ = false;
    bool owes_ = false; // since it is mute
};
