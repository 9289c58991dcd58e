#include "record/transcript_check.hpp"

#include "base/files.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace bench {
namespace {

constexpr auto PROBE = "AT";
/// Queries whose line tells itself apart from what is owed: the daemon gets back in step by them.
constexpr std::array MARKERS{"AT+CMEE?", "AT+CFUN?", "AT+CGEREP?", "AT+CMER?"};
constexpr auto POWER_OFF = "AT+CPWROFF"; ///< ends whatever is in flight and may come at any time
constexpr auto MODEL = "AT+GMM";
constexpr std::int64_t LAST_ATTEMPT_LEFT = 1;
constexpr std::int64_t TOLERANCE_MS = 100; ///< between the daemon's clock and the bench's look at the port

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

std::string quoted(const std::string& text)
{
    return "'" + text + "'";
}

bool is_probe(std::string_view text)
{
    return text == PROBE || std::find(MARKERS.begin(), MARKERS.end(), text) != MARKERS.end();
}

} // namespace

void TranscriptCheck::feed(std::string_view text)
{
    const auto line = parse_transcript_line(text);
    if (!line) {
        violations_.push_back({Rule::FORM, "no line of a transcript: " + quoted(std::string(text))});
        return;
    }
    constexpr std::array<std::pair<std::string_view, void (TranscriptCheck::*)(const TranscriptLine&)>, 7>
        KINDS{{
            {"command", &TranscriptCheck::command},
            {"answer", &TranscriptCheck::answer},
            {"unanswered", &TranscriptCheck::unanswered},
            {"port", &TranscriptCheck::port},
            {"module", &TranscriptCheck::module},
            {"line", &TranscriptCheck::board_line},
            {"pin", &TranscriptCheck::pin},
        }};
    for (const auto& [kind, handle] : KINDS) {
        if (line->kind == kind) {
            (this->*handle)(*line);
        }
    }
}

void TranscriptCheck::command(const TranscriptLine& line)
{
    const auto id = line.number(0);
    const auto text = line.field(1);
    if (!id || text.empty()) {
        broken(Rule::FORM, line, "a command without number or text");
        return;
    }
    asked_to_end_ = asked_to_end_ || text == POWER_OFF;
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

void TranscriptCheck::answer(const TranscriptLine& line)
{
    constexpr std::size_t COMMAND = 3;
    constexpr std::size_t RESULT = 4;
    const auto id = line.number(0);
    if (!id || line.field(RESULT).empty()) {
        broken(Rule::FORM, line, "an answer without number or result");
        return;
    }
    open_.erase(open_.begin(), open_.upper_bound(*id));
    known_ = known_ || (line.field(COMMAND) == MODEL && line.field(RESULT) == "OK");
}

void TranscriptCheck::unanswered(const TranscriptLine& line)
{
    const auto reason = line.field(2);
    if (reason == "down" || reason == "crashed") { // of the others the daemon cannot know
        open_.erase(line.number(0).value_or(0));
    }
}

void TranscriptCheck::port(const TranscriptLine& line)
{
    const auto what = line.field(0);
    for (auto& [id, command] : open_) {
        command.this_session = false;
    }
    if (what == "gone" && !up_) {
        open_.clear(); // a module that starts anew behind a new port owes nothing
    }
    if (what == "there") {
        known_ = false;
    }
}

void TranscriptCheck::module(const TranscriptLine& line)
{
    up_ = line.field(0) == "up";
    known_ = false;
    asked_to_end_ = false;
}

void TranscriptCheck::board_line(const TranscriptLine& line)
{
    const bool cut = line.field(0) == "VCC" && (line.field(1) == "off" || line.field(2) == "pulsed");
    const bool set_up = line.field(2) == "set-up"; // a start of the daemon, which knows no module yet
    if (cut && !set_up && up_ && known_ && !asked_to_end_) {
        broken(Rule::SUPPLY, line, "the supply was taken from a running module without \"+CPWROFF\"");
    }
}

void TranscriptCheck::pin(const TranscriptLine& line)
{
    const auto left = line.number(0);
    if (!left || *left <= LAST_ATTEMPT_LEFT) {
        broken(Rule::LAST_ATTEMPT, line, "a PIN was sent with " + line.field(0) + " attempts left");
    }
}

void TranscriptCheck::broken(Rule rule, const TranscriptLine& line, const std::string& text)
{
    violations_.push_back({rule, std::to_string(line.at_ms) + " ms: " + text});
}

std::vector<Violation> check_transcript(const std::filesystem::path& file)
{
    std::ifstream lines(file);
    if (!lines) {
        throw_errno("unable to read " + file.string());
    }
    TranscriptCheck check;
    for (std::string line; std::getline(lines, line);) {
        check.feed(line);
    }
    return check.violations();
}

} // namespace bench
