#include "at/at_interpreter.hpp"

#include <numeric>

namespace bench {
namespace {

constexpr std::size_t MAX_WAITING = 32; ///< lines typed ahead; a real module drops them sooner

/// Does the line end a command by itself (V.250 clause 5.7, 3GPP TS 27.007 clause 9.1)?
bool is_final(const std::string& line)
{
    return line == "OK" || line == "ERROR" || line == "ABORTED" || line.starts_with("+CME ERROR:") ||
           line.starts_with("+CMS ERROR:");
}

/// Cuts a control command's text at each "\n" written out.
std::vector<std::string> scripted_lines(std::string_view text)
{
    constexpr std::string_view BREAK = "\\n";
    std::vector<std::string> lines;
    for (auto at = text.find(BREAK); at != std::string_view::npos; at = text.find(BREAK)) {
        lines.emplace_back(text.substr(0, at));
        text.remove_prefix(at + BREAK.size());
    }
    lines.emplace_back(text);
    return lines;
}

} // namespace

AtInterpreter::AtInterpreter(TimerQueue& timers, std::chrono::milliseconds command_delay, Hooks hooks)
    : timers_(timers), command_delay_(command_delay), hooks_(std::move(hooks)),
      editor_({.echo =
                   [this](std::string_view bytes) {
                       if (!silent()) {
                           hooks_.send(bytes);
                       }
                   },
               .command = [this](const std::string& line) { command(line); },
               .overflow = [this] { send_lines({"ERROR"}); }})
{
}

void AtInterpreter::receive(std::string_view bytes)
{
    editor_.feed(bytes);
}

void AtInterpreter::reset()
{
    timers_.cancel(timer_);
    waiting_.clear();
    busy_ = false;
    hung_ = false;
    editor_.reset();
}

void AtInterpreter::urc(const std::string& line)
{
    send_lines({line});
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
    hooks_.send(text);
}

void AtInterpreter::command(const std::string& line)
{
    hooks_.log('>', "AT" + line);
    script_.note("AT" + line);
    if (silent() || waiting_.size() >= MAX_WAITING) {
        return;
    }
    waiting_.push_back(line);
    if (!busy_) {
        start_next();
    }
}

void AtInterpreter::start_next()
{
    busy_ = !waiting_.empty();
    if (!busy_) {
        return;
    }
    const auto requests = parse_command_line(waiting_.front());
    waiting_.pop_front();
    const int units =
        std::accumulate(requests.begin(), requests.end(), 1, [this](int sum, const AtRequest& request) {
            return sum + hooks_.slowness(request) - 1;
        });
    timer_ = timers_.after(command_delay_ * units, [this, requests] { run(requests); });
}

void AtInterpreter::run(const std::vector<AtRequest>& requests)
{
    Outcome outcome;
    for (const auto& request : requests) {
        if (!apply(request, outcome)) {
            break;
        }
    }
    if (!outcome.silent) {
        send_lines(outcome.lines);
        send_lines({outcome.result});
    }
    for (const auto& action : outcome.afterwards) {
        action();
    }
    start_next();
}

/// @return whether the line goes on with its next command
bool AtInterpreter::apply(const AtRequest& request, Outcome& outcome)
{
    if (const auto* entry = script_.find(request.text)) {
        return apply_script(*entry, outcome);
    }
    auto answer = hooks_.execute(request);
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

bool AtInterpreter::apply_script(const Script::Entry& entry, Outcome& outcome)
{
    switch (entry.kind) {
    case Script::Kind::SILENCE:
        outcome.silent = true;
        return false;
    case Script::Kind::FAIL:
        outcome.result = error_result(Cme::UNKNOWN, entry.text, hooks_.cmee());
        return false;
    case Script::Kind::ANSWER:
        break;
    }
    for (const auto& line : scripted_lines(entry.text)) {
        if (is_final(line)) {
            outcome.result = line;
            return line == "OK";
        }
        outcome.lines.push_back(line);
    }
    return true;
}

} // namespace bench
