#include "scenario/scenario_player.hpp"

#include <algorithm>
#include <cstdio>

namespace bench {

ScenarioPlayer::ScenarioPlayer(TimerQueue& timers, Transcript& transcript, Scenario scenario, Run run)
    : timers_(timers), transcript_(transcript), run_(std::move(run))
{
    for (auto& line : scenario) {
        lines_.push_back({.text = std::move(line)});
    }
    for (std::size_t index = 0; index < lines_.size(); ++index) {
        if (!lines_[index].text.then) {
            arm(index);
        }
    }
}

ScenarioPlayer::~ScenarioPlayer()
{
    for (const auto& line : lines_) {
        timers_.cancel(line.timer);
    }
}

void ScenarioPlayer::arm(std::size_t index)
{
    auto& line = lines_[index];
    if (line.due) {
        return;
    }
    line.armed = true;
    line.seen = 0;
    if (!line.text.event) {
        set_off(index);
    }
}

void ScenarioPlayer::saw(std::string_view kind, EventFields fields)
{
    for (std::size_t index = 0; index < lines_.size(); ++index) {
        auto& line = lines_[index];
        const bool counts = line.armed && !line.due && line.text.event;
        if (counts && line.text.event->matches(kind, fields) && ++line.seen == line.text.turn) {
            set_off(index);
        }
    }
}

void ScenarioPlayer::set_off(std::size_t index)
{
    auto& line = lines_[index];
    line.seen = 0;
    line.armed = line.text.each;
    line.due = true;
    line.timer = timers_.after(line.text.delay, [this, index] { happen(index); });
}

void ScenarioPlayer::happen(std::size_t index)
{
    auto& line = lines_[index];
    line.due = false;
    line.happened = true;
    if (too_much_at_once()) {
        line.armed = false;
        note(line,
             "error " + std::to_string(MAX_AT_ONCE) + " commands at one point of time, this line is ended");
        return;
    }
    run(line);
    if (index + 1 < lines_.size() && lines_[index + 1].text.then) {
        arm(index + 1);
    }
}

bool ScenarioPlayer::too_much_at_once()
{
    if (instant_ != timers_.now()) {
        instant_ = timers_.now();
        at_once_ = 0;
    }
    return ++at_once_ > MAX_AT_ONCE;
}

/// The cause stands in the transcript in front of what it leads to.
void ScenarioPlayer::run(Line& line)
{
    transcript_.note("scenario", {std::to_string(line.text.number), line.text.command});
    const auto answer = run_(line.text.command);
    if (!answer.starts_with("ok")) {
        note(line, answer);
    }
}

void ScenarioPlayer::note(const Line& line, const std::string& text)
{
    const auto number = std::to_string(line.text.number);
    transcript_.note("scenario", {number, line.text.command, text});
    std::fprintf(stderr, "celld-sim: scenario, line %s: '%s': %s\n", number.c_str(),
                 line.text.command.c_str(), text.c_str());
}

std::size_t ScenarioPlayer::left() const
{
    return static_cast<std::size_t>(
        std::count_if(lines_.begin(), lines_.end(), [](const Line& line) { return !line.happened; }));
}

} // namespace bench
