#include "at/at_job.hpp"

#include "at/at_answer.hpp"

#include <string_view>

namespace bench {
namespace {

constexpr std::size_t PREFIX_SIZE = 2; ///< "AT"

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

void add_entry(AtJob& job, AtJob::Step& step, const Script::Entry& entry)
{
    switch (entry.kind) {
    case Script::Kind::FAIL:
    case Script::Kind::ANSWER:
    case Script::Kind::SILENCE:
        step.answer = entry;
        break;
    case Script::Kind::LATE:
        job.lateness += entry.pause;
        break;
    case Script::Kind::LOST:
        job.lost = true;
        break;
    case Script::Kind::CRASH:
        job.crash = entry.crash;
        break;
    case Script::Kind::CUT:
        job.cut = entry.pause;
        break;
    case Script::Kind::REPORT:
        job.reports.push_back(entry.text);
        break;
    }
}

} // namespace

AtJob plan_job(const AtRecord::Command& command, Script& script)
{
    AtJob job{.command = command, .steps = {}, .crash = {}, .reports = {}};
    auto requests = parse_command_line(std::string_view(command.text).substr(PREFIX_SIZE));
    if (requests.empty()) {
        requests.emplace_back();
    }
    for (auto& request : requests) {
        AtJob::Step step{.request = std::move(request), .answer = {}};
        for (const auto& entry : script.take(step.request.text)) {
            add_entry(job, step, entry);
        }
        job.steps.push_back(std::move(step));
    }
    return job;
}

bool apply_scripted(const Script::Entry& entry, int cmee, AtOutcome& outcome)
{
    if (entry.kind == Script::Kind::SILENCE) {
        outcome.silent = true;
        return false;
    }
    if (entry.kind == Script::Kind::FAIL) {
        outcome.result = error_result(Cme::UNKNOWN, entry.text, cmee);
        return false;
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
