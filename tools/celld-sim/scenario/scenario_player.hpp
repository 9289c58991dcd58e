#pragma once

#include "base/timer_queue.hpp"
#include "record/transcript.hpp"
#include "scenario/scenario.hpp"

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Lets a scenario happen: counts the events that the transcript is told and runs each line's command when it
/// is due. A command never runs within the event that set it off, but as a timer of its own: neither what
/// handles the event nor this class is entered anew. All on the event loop's thread.
class ScenarioPlayer {
public:
    using Run = std::function<std::string(const std::string& command)>; ///< @return "ok..." or what is wrong

    /// Commands at one point of time. Lines that set one another off for ever come to it; the one that does
    /// is ended.
    static constexpr unsigned MAX_AT_ONCE = 1000;

    /// Arms what is armed from the start.
    ScenarioPlayer(TimerQueue& timers, Transcript& transcript, Scenario scenario, Run run);
    ~ScenarioPlayer();
    ScenarioPlayer(const ScenarioPlayer&) = delete;
    ScenarioPlayer& operator=(const ScenarioPlayer&) = delete;

    void saw(std::string_view kind, EventFields fields);

    /// Lines whose command has not run so far.
    std::size_t left() const;

private:
    struct Line {
        ScenarioLine text;
        bool armed = false;
        bool due = false; ///< its delay runs; what happens meanwhile is not counted
        bool happened = false;
        unsigned seen = 0;
        TimerQueue::Id timer = 0;
    };

    void arm(std::size_t index);
    void set_off(std::size_t index);
    void happen(std::size_t index);
    bool too_much_at_once();
    void run(Line& line);
    void note(const Line& line, const std::string& text);

    TimerQueue& timers_;
    Transcript& transcript_;
    Run run_;
    std::vector<Line> lines_;
    TimerQueue::TimePoint instant_{};
    unsigned at_once_ = 0; ///< commands at `instant_`
};

} // namespace bench
