#include "record/transcript_check.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace bench {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST(TranscriptCheckTest, WantsOneCommandAtATimeAndTheDaemonInStep)
{
    const std::string asked = "1000 command 1 AT+UREG?";
    const std::string answered = "1010 answer 1 1000 open AT+UREG? OK";
    const std::string probe = "11500 command 2 AT";
    const std::string probe_answered = "11600 answer 2 11500 open AT OK";
    const std::string next = "12000 command 9 AT+CGACT?";
    struct Case {
        std::string name;
        std::vector<std::string> lines;
        std::vector<Rule> broken;
    };
    const std::vector<Case> cases{
        {"in turn", {asked, answered, next}, {}},
        {"too soon", {asked, "10800 command 2 AT+CSQ"}, {Rule::ONE_AT_A_TIME}},
        {"too soon for a search",
         {"1 command 1 AT+COPS=0", "179000 command 2 AT+CSQ"},
         {Rule::ONE_AT_A_TIME}},
        {"without a probe", {asked, next}, {Rule::IN_STEP}},
        {"after a search without a probe",
         {"1 command 1 AT+COPS=0", "180001 command 2 AT+CSQ"},
         {Rule::IN_STEP}},
        {"late answer heard", {asked, "11200 answer 1 1000 open AT+UREG? OK", next}, {}},
        {"probe answered", {asked, probe, probe_answered, next}, {}},
        {"probe not answered", {asked, probe, next}, {Rule::IN_STEP}},
        {"a second probe is owed",
         {asked, probe, "11550 command 3 AT", probe_answered, next},
         {Rule::IN_STEP}},
        {"lost, which nobody can know",
         {asked, "1010 unanswered 1 1000 lost AT+UREG?", next},
         {Rule::IN_STEP}},
        {"crashed", {asked, "1010 unanswered 1 1000 crashed AT+UREG?", next}, {}},
        {"the port closed and opened", {asked, "2000 port closed", "3000 port open", next}, {Rule::IN_STEP}},
        {"the port gone, the module not", {"1 module up", asked, "2000 port gone", next}, {Rule::IN_STEP}},
        {"the port gone with the module",
         {"1 module up", asked, "2000 module down", "2000 port gone", next},
         {}},
        {"power-off at any time", {asked, "2000 command 2 AT+CPWROFF"}, {}},
        {"said once",
         {asked, next, "12010 answer 9 12000 open AT+CGACT? OK", "12020 command 10 AT"},
         {Rule::IN_STEP}},
    };
    for (const auto& [name, lines, broken] : cases) {
        EXPECT_EQ(broken_by(lines), broken) << name;
    }
}

TEST(TranscriptCheckTest, WantsPowerOffBeforeTheSupplyGoes)
{
    const std::vector<std::string> known{"1 module up", "1 port there", "2 answer 1 2 open AT+GMM OK"};
    const auto then = [&known](const std::vector<std::string>& more) {
        auto lines = known;
        lines.insert(lines.end(), more.begin(), more.end());
        return broken_by(lines);
    };
    EXPECT_THAT(then({"9 line VCC off written"}), ElementsAre(Rule::SUPPLY));
    EXPECT_THAT(then({"9 line VCC on pulsed"}), ElementsAre(Rule::SUPPLY));
    EXPECT_THAT(then({"9 line VCC off set-up"}), IsEmpty());
    EXPECT_THAT(then({"9 line PWRON off written"}), IsEmpty());
    EXPECT_THAT(then({"3 command 2 AT+CPWROFF", "9 line VCC off written"}), IsEmpty());
    EXPECT_THAT(then({"3 module down", "9 line VCC off written"}), IsEmpty());
    EXPECT_THAT(then({"3 port gone", "4 port there", "9 line VCC off written"}), IsEmpty())
        << "not known again";
    EXPECT_THAT(then({"3 command 2 AT+CPWROFF", "4 module down", "5 module up", "6 port there",
                      "7 answer 3 7 open AT+GMM OK", "9 line VCC off written"}),
                ElementsAre(Rule::SUPPLY))
        << "the one before counts no more";
    EXPECT_THAT(then({"3 port open", "9 line VCC off written"}), ElementsAre(Rule::SUPPLY));
    EXPECT_THAT(broken_by({"1 module up", "2 answer 1 2 open AT OK", "9 line VCC off written"}), IsEmpty());
    EXPECT_THAT(broken_by({"1 module booting", "9 line VCC off written"}), IsEmpty());
}

TEST(TranscriptCheckTest, WantsTheLastPinAttemptLeftAloneAndLinesThatRead)
{
    EXPECT_THAT(broken_by({"1 pin 3", "2 pin 2", "3 pin 1", "4 pin"}),
                ElementsAre(Rule::LAST_ATTEMPT, Rule::LAST_ATTEMPT));
    EXPECT_THAT(
        broken_by({"", "x command 1 AT", "1", "1 command x AT", "1 command 1", "1 answer 1 1 open AT"}),
        ElementsAre(Rule::FORM, Rule::FORM, Rule::FORM, Rule::FORM, Rule::FORM, Rule::FORM));
    EXPECT_THAT(broken_by({"1 something new", "1 report +CREG:_1"}), IsEmpty());
    EXPECT_ANY_THROW(check_transcript("/nowhere/transcript"));
}

} // namespace
} // namespace bench
