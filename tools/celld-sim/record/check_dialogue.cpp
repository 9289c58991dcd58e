#include "record/check_dialogue.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace bench {
namespace {

constexpr auto PROBE = "AT";
/// Queries whose line tells itself apart from what is owed: the daemon gets back in step by them.
constexpr std::array MARKERS{"AT+CMEE?", "AT+CFUN?", "AT+CGEREP?", "AT+CMER?"};
constexpr auto POWER_OFF = "AT+CPWROFF";   ///< ends whatever is in flight and may come at any time
constexpr std::int64_t TOLERANCE_MS = 100; ///< between the daemon's clock and the bench's look at the port
constexpr std::int64_t PORT_TOLERANCE_MS =
    1000; ///< what was written in front of a close may be read behind it

/// How long the daemon waits for an answer, in seconds; the shortest where a command has two.
struct TimeOut {
    std::string_view prefix;
    int seconds;
};

constexpr int DEFAULT_TIME_OUT_S = 10;
constexpr std::array TIME_OUTS{
    TimeOut{"AT+CFUN=", 180},   TimeOut{"AT+COPS?", 180},   TimeOut{"AT+COPS=0", 180},
    TimeOut{"AT+CGACT=1", 180}, TimeOut{"AT+UCEDATA", 180}, TimeOut{"AT+UNFM=", 300},
};

std::int64_t time_out_ms(const std::string& command)
{
    const auto found = std::find_if(TIME_OUTS.begin(), TIME_OUTS.end(), [&command](const TimeOut& row) {
        return command.starts_with(row.prefix);
    });
    return 1000LL * (found == TIME_OUTS.end() ? DEFAULT_TIME_OUT_S : found->seconds);
}

bool is_probe(std::string_view text)
{
    return text == PROBE || std::find(MARKERS.begin(), MARKERS.end(), text) != MARKERS.end();
}

} // namespace

void DialogueRules::feed(const TranscriptLine& line)
{
    if (line.kind == "command") {
        command(line);
    } else if (line.kind == "answer") {
        answer(line);
    } else if (line.kind == "unanswered") {
        unanswered(line);
    } else if (line.kind == "port") {
        port(line);
    } else if (line.kind == "module") {
        up_ = line.field(0) == "up";
    }
}

void DialogueRules::command(const TranscriptLine& line)
{
    const auto id = line.number(0);
    const auto text = line.field(1);
    if (!id || text.empty()) {
        broken(Rule::FORM, line, "a command without number or text");
        return;
    }
    if (unheard_ms_ && line.at_ms > *unheard_ms_ + PORT_TOLERANCE_MS) {
        broken(Rule::PORT, line, quoted(text) + " was written while nobody had the port open");
    }
    if (!is_probe(text) && text != POWER_OFF && !open_.empty()) {
        const auto& last = open_.rbegin()->second;
        const bool waited_for = !is_probe(last.text) && last.this_session &&
                                line.at_ms - last.written_ms < time_out_ms(last.text) - TOLERANCE_MS;
        broken(waited_for ? Rule::ONE_AT_A_TIME : Rule::IN_STEP, line,
               quoted(text) + " was written while " + quoted(last.text) + " of " +
                   std::to_string(last.written_ms) + " ms had no answer");
        open_.clear(); // said once
    }
    open_.insert_or_assign(*id, Open{.text = text, .written_ms = line.at_ms});
}

void DialogueRules::answer(const TranscriptLine& line)
{
    constexpr std::size_t RESULT = 4;
    const auto id = line.number(0);
    if (!id || line.field(RESULT).empty()) {
        broken(Rule::FORM, line, "an answer without number or result");
        return;
    }
    open_.erase(open_.begin(), open_.upper_bound(*id));
}

void DialogueRules::unanswered(const TranscriptLine& line)
{
    const auto reason = line.field(2);
    if (reason == "down" || reason == "crashed") { // of the others the daemon cannot know
        open_.erase(line.number(0).value_or(0));
    }
}

void DialogueRules::port(const TranscriptLine& line)
{
    const auto what = line.field(0);
    for (auto& [id, command] : open_) {
        command.this_session = false;
    }
    if (what == "gone" && !up_) {
        open_.clear(); // a module that starts anew behind a new port owes nothing
    }
    if (what == "open") {
        unheard_ms_.reset();
    } else {
        unheard_ms_ = unheard_ms_.value_or(line.at_ms);
    }
}

} // namespace bench
