#include "at/at_interpreter.hpp"

#include <numeric>
#include <utility>

namespace bench {
namespace {

constexpr std::size_t MAX_WAITING = 32; ///< lines typed ahead; a real module drops them sooner

} // namespace

AtInterpreter::AtInterpreter(TimerQueue& timers, std::chrono::milliseconds command_delay,
                             Transcript& transcript, Hooks hooks)
    : timers_(timers), command_delay_(command_delay), hooks_(std::move(hooks)),
      editor_({.echo =
                   [this](std::string_view bytes) {
                       if (!silent()) {
                           output_.write(bytes);
                       }
                   },
               .command = [this](const std::string& line) { command(line); },
               .overflow = [this] { send_lines({"ERROR"}); }}),
      output_(timers, hooks_.send), record_(transcript, hooks_.port)
{
}

void AtInterpreter::receive(std::string_view bytes)
{
    editor_.feed(bytes);
}

void AtInterpreter::cancel_all()
{
    timers_.cancel(timer_);
    for (const auto id : std::exchange(following_, {})) {
        timers_.cancel(id);
    }
}

void AtInterpreter::reset()
{
    cancel_all();
    output_.reset();
    if (const auto job = std::exchange(job_, std::nullopt)) {
        record_.unanswered(job->command, "down");
    }
    for (const auto& command : std::exchange(waiting_, {})) {
        record_.unanswered(command, "down");
    }
    hung_ = false;
    editor_.reset();
}

void AtInterpreter::urc(const std::string& line)
{
    if (!silent() && (!replay_ || replay_->is_over())) {
        record_.report(line);
        send_lines({line});
    }
}

void AtInterpreter::send_lines(const std::vector<std::string>& lines)
{
    if (silent() || lines.empty()) {
        return;
    }
    std::string text = "\r\n";
    for (const auto& line : lines) {
        hooks_.log('<', line);
        text.append(line).append("\r\n");
    }
    output_.write(text);
}

void AtInterpreter::command(const std::string& line)
{
    hooks_.log('>', "AT" + line);
    script_.note("AT" + line);
    hooks_.received(line);
    const auto command = record_.received(line);
    if (silent()) {
        record_.unanswered(command, "mute");
        return;
    }
    if (waiting_.size() >= MAX_WAITING) {
        record_.unanswered(command, "dropped");
        return;
    }
    waiting_.push_back(command);
    if (!job_) {
        start_next();
    }
}

void AtInterpreter::start_next()
{
    if (waiting_.empty()) {
        return;
    }
    job_ = plan_job(waiting_.front(), script_);
    waiting_.pop_front();
    if (job_->crash && job_->crash->before) {
        timer_ = timers_.after({}, [this] { crash(); }); // not below receive(), whose module it takes away
        return;
    }
    replayed_ = replay_ ? replay_->take(job_->command.text) : std::nullopt;
    const auto duration = replayed_ ? replayed_->delay : own_duration();
    timer_ = timers_.after(duration + job_->lateness, [this] { run(); });
}

std::chrono::milliseconds AtInterpreter::own_duration() const
{
    const int units =
        std::accumulate(job_->steps.begin(), job_->steps.end(), 1, [this](int sum, const AtJob::Step& step) {
            return sum + hooks_.slowness(step.request) - 1;
        });
    return command_delay_ * units;
}

void AtInterpreter::run()
{
    AtOutcome outcome;
    for (const auto& step : job_->steps) {
        if (!apply(step, outcome)) {
            break;
        }
    }
    if (job_->crash) {
        crash();
        return;
    }
    if (replayed_) {
        outcome.lines = replayed_->lines;
        outcome.result = replayed_->result.value_or("");
        outcome.silent = !replayed_->result;
    }
    deliver(std::move(outcome));
}

/// @return whether the line goes on with its next command
bool AtInterpreter::apply(const AtJob::Step& step, AtOutcome& outcome)
{
    if (step.answer) {
        return apply_scripted(*step.answer, hooks_.cmee(), outcome);
    }
    if (step.request.text.empty()) {
        return true;
    }
    auto answer = hooks_.execute(step.request);
    outcome.lines.insert(outcome.lines.end(), answer.lines.begin(), answer.lines.end());
    if (answer.afterwards) {
        outcome.afterwards.push_back(std::move(answer.afterwards));
    }
    if (answer.error == Cme::NONE) {
        return true;
    }
    outcome.result = error_result(answer.error, answer.error_text, hooks_.cmee());
    return false;
}

void AtInterpreter::deliver(AtOutcome outcome)
{
    if (!outcome.silent) {
        output_.pace(job_->cut);
        send_lines(outcome.lines);
        for (const auto& report : job_->reports) {
            urc(report);
        }
        if (!job_->lost) {
            send_lines({outcome.result});
        }
    }
    output_.when_out([this, ended = std::move(outcome)] { end(ended); });
}

void AtInterpreter::end(const AtOutcome& outcome)
{
    const auto* reason = why_unanswered(outcome);
    if (reason != nullptr) {
        record_.unanswered(job_->command, reason);
    } else {
        record_.answered(job_->command, outcome.lines, outcome.result);
    }
    job_.reset();
    if (const auto replayed = std::exchange(replayed_, std::nullopt)) {
        follow(*replayed);
    }
    for (const auto& action : outcome.afterwards) {
        action();
    }
    if (!job_) {
        start_next();
    }
}

/// Reports, late answers and the end of the line come as long after the command as they did.
void AtInterpreter::follow(const Recording::Exchange& exchange)
{
    for (const auto& event : exchange.events) {
        following_.push_back(timers_.after(event.after, [this, line = event.line] {
            if (!line.empty()) {
                record_.report(line);
                send_lines({line});
            } else if (hooks_.port() != "gone") {
                hooks_.log('#', "hung up, as recorded");
                hooks_.crash({});
            }
        }));
    }
}

const char* AtInterpreter::why_unanswered(const AtOutcome& outcome) const
{
    if (silent()) {
        return "mute";
    }
    if (outcome.silent) {
        return "silent";
    }
    return job_->lost ? "lost" : nullptr;
}

void AtInterpreter::crash()
{
    const auto crash = *job_->crash;
    record_.unanswered(job_->command, "crashed");
    job_.reset();
    hooks_.log('#', "firmware crash");
    hooks_.crash(crash);
}

} // namespace bench
