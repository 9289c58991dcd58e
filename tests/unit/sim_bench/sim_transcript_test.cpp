#include "record/transcript_check.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace bench {
namespace {

/// Blanks stand for tabs; "_" for a blank.
std::vector<Rule> broken_by(const std::vector<std::string>& lines)
{
    TranscriptCheck check;
    for (auto line : lines) {
        std::replace(line.begin(), line.end(), ' ', '\t');
        std::replace(line.begin(), line.end(), '_', ' ');
        check.feed(line);
    }
    std::vector<Rule> rules;
    for (const auto& violation : check.violations()) {
        rules.push_back(violation.rule);
    }
    return rules;
}

/// So many, each answered, so many milliseconds apart.
std::vector<std::string> commands(int count, int apart_ms, int from_ms = 0,
                                  const std::string& text = "AT+CSQ")
{
    std::vector<std::string> lines;
    for (int i = 0; i < count; ++i) {
        const auto at = std::to_string(from_ms + i * apart_ms);
        const auto id = std::to_string(i + 1);
        lines.push_back(at + " command " + id + " " + text);
        lines.push_back(at + " answer " + id + " " + at + " open " + text + " OK");
    }
    return lines;
}

std::vector<std::string> after(const std::string& first, std::vector<std::string> lines)
{
    lines.insert(lines.begin(), first);
    return lines;
}

TEST(TranscriptCheckTest, SeesWhatBreaksARule)
{
    const std::string asked = "1000 command 1 AT+UREG?";
    const std::string answered = "1010 answer 1 1000 open AT+UREG? OK";
    const std::string probe = "11500 command 2 AT";
    const std::string probe_answered = "11600 answer 2 11500 open AT OK";
    const std::string next = "12000 command 9 AT+CGACT?";
    const std::string next_answered = "12010 answer 9 12000 open AT+CGACT? OK";
    const std::string search = "1 command 1 AT+COPS=0";
    const std::string known = "2 answer 1 2 open AT+GMM OK";
    const std::string up = "1 module up";
    const std::string off = "9 line VCC off written";
    const std::string on = "0 line VCC on written";
    const std::string silence = "1 note blackout_on";
    const std::string wrong = "9 answer 1 1 open AT+CPIN=1111 +CME_ERROR:_incorrect_password";
    const std::string wrong_again = "20 command 2 AT+CPIN=1111";
    struct Case {
        std::string name;
        std::vector<std::string> lines;
        std::vector<Rule> broken;
    };
    const std::vector<Case> cases{
        {"in turn", {asked, answered, next}, {}},
        {"too soon", {asked, "10800 command 2 AT+CSQ"}, {Rule::ONE_AT_A_TIME}},
        {"too soon for a search", {search, "179000 command 2 AT+CSQ"}, {Rule::ONE_AT_A_TIME}},
        {"without a probe", {asked, next}, {Rule::IN_STEP}},
        {"probe answered", {asked, probe, probe_answered, next}, {}},
        {"probe not answered", {asked, probe, next}, {Rule::IN_STEP}},
        {"lost, unknown", {asked, "1010 unanswered 1 1000 lost AT+UREG?", next}, {Rule::IN_STEP}},
        {"the port closed and opened", {asked, "2000 port closed", "3000 port open", next}, {Rule::IN_STEP}},
        {"the port gone, the module not",
         {up, asked, "2000 port gone", "3000 port open", next},
         {Rule::IN_STEP}},
        {"the port gone too", {up, asked, "2000 module down", "2000 port gone", "3000 port open", next}, {}},

        {"into a closed port", {asked, answered, "10999 port closed", next}, {Rule::PORT}},
        {"closed, then gone", {"1 port closed", "11500 port gone", "11600 port there", next}, {Rule::PORT}},

        {"a busy boot", commands(250, 230), {}},
        {"too busy a boot", commands(251, 230), {Rule::PACE}},
        {"quiet", after("70000 module up", commands(300, 462, 130'001)), {}},
        {"too busy for nothing", after("70000 module up", commands(131, 458, 130'001)), {Rule::PACE}},
        {"busy with failures",
         after("70000 answer 1 1 open AT+CSQ +CME_ERROR:_1", commands(131, 458, 129'999)),
         {}},
        {"antenna", after("70000 module up", commands(400, 200, 130'001, "AT+UANTR=0")), {}},

        {"supply", {up, known, off}, {Rule::SUPPLY}},
        {"set-up", {up, known, "9 line VCC off set-up"}, {}},
        {"asked to end", {up, known, "3 command 2 AT+CPWROFF", off}, {}},
        {"not known again", {up, known, "3 port gone", "4 port there", off}, {}},
        {"open again", {up, known, "3 port open", off}, {Rule::SUPPLY}},
        {"asked before", {"1 command 1 AT+CPWROFF", "1 module down", up, known, off}, {Rule::SUPPLY}},

        {"the last attempt", {"1 pin 3", "2 pin 2", "3 pin 1"}, {Rule::LAST_ATTEMPT}},
        {"a wrong PIN again", {wrong, wrong_again}, {Rule::WRONG_PIN}},
        {"not for being wrong", {"9 answer 1 1 open AT+CPIN=1111 +CME_ERROR:_SIM_busy", wrong_again}, {}},
        {"of a new daemon", {wrong, "15 line VCC off set-up", wrong_again}, {}},
        {"into another card", {wrong, "15 report +CIEV:_12,1", wrong_again}, {}},
        {"no card between",
         {wrong, "15 answer 2 15 open AT+CPIN? +CME_ERROR:_SIM_not_inserted", wrong_again},
         {}},

        {"radio silence", {on, silence, "60001 line VCC off written", "99999 command 1 AT"}, {}},
        {"no silence", {on, silence, "60002 command 1 AT"}, {Rule::RADIO_SILENCE}},
        {"silence ended", {on, silence, "60000 note blackout_off", "99999 module up"}, {}},
        {"supply in the silence", {silence, "99999 line VCC on written"}, {Rule::RADIO_SILENCE}},
        {"a TOBY's silence", {"0 bench toby k7", on, silence, "85001 module up"}, {}},

        {"no count of attempts", {"4 pin"}, {Rule::LAST_ATTEMPT}},
        {"no lines",
         {"", "x command 1 AT", "1", "1 command x AT", "1 command 1", "1 answer 1 1 open AT"},
         std::vector<Rule>(6, Rule::FORM)},
        {"not known here", {"1 something new", "1 report +CREG:_1"}, {}},
    };
    for (const auto& [name, lines, broken] : cases) {
        EXPECT_EQ(broken_by(lines), broken) << name;
    }
    EXPECT_ANY_THROW(check_transcript("/nowhere/transcript"));
}

} // namespace
} // namespace bench
