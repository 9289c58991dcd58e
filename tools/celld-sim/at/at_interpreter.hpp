#pragma once

#include "at/at_answer.hpp"
#include "at/at_job.hpp"
#include "at/at_record.hpp"
#include "at/at_request.hpp"
#include "at/line_editor.hpp"
#include "at/paced_output.hpp"
#include "at/replay.hpp"
#include "at/script.hpp"
#include "base/timer_queue.hpp"

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// The AT side of the module: takes bytes, runs one command line after the other, each after its own time,
/// and formats answers and unsolicited reports as V.250 has them with the factory settings ATQ0 V1. What
/// comes while a line is in work waits and is answered afterwards, in order.
class AtInterpreter {
public:
    struct Hooks {
        std::function<AtAnswer(const AtRequest&)> execute;
        std::function<int(const AtRequest&)> slowness; ///< duration in units of the command delay
        std::function<int()> cmee;
        std::function<void(std::string_view)> send;
        std::function<void(char, const std::string&)> log; ///< '>' received, '<' sent
        std::function<void(const std::string&)> received;  ///< a line without its "AT", before it is recorded
        std::function<void(const Crash&)> crash;           ///< ends in reset()
        std::function<std::string()> port;                 ///< as in AtRecord
    };

    AtInterpreter(TimerQueue& timers, std::chrono::milliseconds command_delay, Transcript& transcript,
                  Hooks hooks);
    ~AtInterpreter() { cancel_all(); }
    AtInterpreter(const AtInterpreter&) = delete;
    AtInterpreter& operator=(const AtInterpreter&) = delete;

    void receive(std::string_view bytes);
    void urc(const std::string& line);

    /// As a restart: the command in work, what waits and a hang are gone, the echo is back.
    void reset();

    /// Commands are taken and noted, nothing is said: muted until told otherwise, hung until the next
    /// reset().
    void mute(bool on) { muted_ = on; }
    void hang() { hung_ = true; }
    bool silent() const { return muted_ || hung_; }
    void echo(bool on) { editor_.echo(on); }
    Script& script() { return script_; }

    /// From now on commands are answered as they were recorded, and the module's own reports are left out,
    /// until the recording is at its end. What a command does to the module it still does.
    void replay(Replay replay) { replay_ = std::move(replay); }

private:
    void cancel_all();
    void command(const std::string& line);
    void start_next();
    void run();
    bool apply(const AtJob::Step& step, AtOutcome& outcome);
    void deliver(AtOutcome outcome);
    void end(const AtOutcome& outcome);
    std::chrono::milliseconds own_duration() const;
    void follow(const Recording::Exchange& exchange);
    const char* why_unanswered(const AtOutcome& outcome) const;
    void crash();
    void send_lines(const std::vector<std::string>& lines);

    TimerQueue& timers_;
    std::chrono::milliseconds command_delay_;
    Hooks hooks_;
    LineEditor editor_;
    PacedOutput output_;
    Script script_;
    AtRecord record_;
    std::deque<AtRecord::Command> waiting_;
    std::optional<AtJob> job_; ///< in work
    std::optional<Replay> replay_;
    std::optional<Recording::Exchange> replayed_; ///< what the command in work was answered
    std::vector<TimerQueue::Id> following_;       ///< what was recorded behind it
    bool muted_ = false;
    bool hung_ = false;
    TimerQueue::Id timer_ = 0;
};

} // namespace bench
