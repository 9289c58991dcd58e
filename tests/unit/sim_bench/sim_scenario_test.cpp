#include "base/files.hpp"
#include "control/control_commands.hpp"
#include "scenario/scenario_player.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>

#include <sstream>
#include <tuple>

namespace bench {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

std::optional<std::string> no_check(std::string_view)
{
    return std::nullopt;
}

/// What the reader says of a file with this text.
std::string refusal(const std::string& text, const CommandCheck& check = no_check)
{
    const TempRoot root;
    root.write("/day.scn", text);
    try {
        read_scenario(root.path("/day.scn"), check);
    } catch (const BenchError& error) {
        return error.what();
    }
    return "";
}

TEST(ScenarioFileTest, NamesLineFaultAndWhatWouldBeRight)
{
    const std::vector<std::tuple<std::string, std::string, std::string>> cases{
        {"at 1 - reboot", "no ' -> '", "TRIGGER -> COMMAND"},
        {"soon -> reboot", "unexpected 'soon'", "'at SECONDS'"},
        {"at -> reboot", "'' are no seconds", "such as 2 or 0.5"},
        {"at nan -> reboot", "'nan' are no seconds", ""},
        {"at 2678401 -> reboot", "are no seconds", "a month"},
        {"at 1 +2 -> reboot", "unexpected '+2'", ""},
        {"on comand AT -> reboot", "unknown event 'comand'", "command"},
        {"on 0 command AT -> reboot", "'0' is no count", "from 1"},
        {"on command +CSQ +COPS -> reboot", "no event 'command +CSQ +COPS'", ""},
        {"on line VINT on -> reboot", "no event 'line VINT on'", "VCC|PWRON|RESET on|off|pulsed"},
        {"on pin 4 -> reboot", "no event 'pin 4'", ""},
        {"then on module up + -> reboot", "no event 'module up +'", ""},
        {"then at 5 -> reboot", "unexpected 'at'", ""},
        {"at 1 -> bad", "no such command", ""},
        {"at 1 ->", "nothing to do", ""},
        {std::string("at 1 -> urc \x07"), "control characters", "plain text"},
        {"at 1 -> urc " + std::string(500, 'x'), "a line of 512 characters", "500 may be"},
    };
    const auto check = [](std::string_view command) -> std::optional<std::string> {
        if (command == "bad") {
            return "no such command";
        }
        return command.empty() ? std::optional<std::string>("nothing to do") : std::nullopt;
    };
    for (const auto& [line, wrong, right] : cases) {
        const auto said = refusal("# a comment\n\nat 0 -> reboot\n" + line + "\nat 9 -> nothing\n", check);
        EXPECT_THAT(said, AllOf(HasSubstr("/day.scn, line 4: "), HasSubstr(wrong), HasSubstr(right))) << line;
    }
}

TEST(ScenarioFileTest, RefusesWhatIsNoScenario)
{
    EXPECT_THAT(refusal("# only\n  \t\n"), HasSubstr("no event"));
    EXPECT_THAT(refusal("\n# first\nthen +1 -> reboot\n"), HasSubstr("line 3: 'then' without a line above"));
    EXPECT_THAT(refusal(std::string("\x7F"
                                    "ELF\0\0",
                                    6)),
                HasSubstr("line 1: control characters"));
    EXPECT_THAT(refusal(std::string(1'000'000, '\0')), HasSubstr("more than 100000 bytes"));
    std::string lines(999, '\n');
    EXPECT_EQ(refusal(lines + "at 1 -> reboot"), "");
    EXPECT_THAT(refusal(lines + "\nat 1 -> reboot"), HasSubstr("line 1001: more than 1000 lines"));
    EXPECT_THROW(read_scenario("/", no_check), BenchError);
}

TEST(ScenarioFileTest, TakesBlanksTabsAndBothLineEnds)
{
    const TempRoot root;
    root.write("/day.scn", "# c\r\n\t at\t0.25  ->  urc a -> b \r\non 3 report  +CREG:  2 +1.5 -> reboot");
    const auto scenario = read_scenario(root.path("/day.scn"), no_check);
    ASSERT_EQ(scenario.size(), 2U);
    EXPECT_EQ(scenario[0].number, 2U);
    EXPECT_EQ(scenario[0].delay, 250ms);
    EXPECT_EQ(scenario[0].command, "urc a -> b");
    EXPECT_EQ(scenario[1].event->argument, "+CREG: 2");
    EXPECT_EQ(scenario[1].turn, 3U);
    EXPECT_EQ(scenario[1].delay, 1500ms);
}

/// A scenario against a time that the test moves. Its commands are only noted down, with the second at which
/// they came; "say X" makes a report of X.
class ScenarioPlayerTest : public testing::Test {
protected:
    struct Event {
        int at_s;
        std::string text; ///< kind and fields, parted by blanks; "_" for a blank
    };

    void play(const std::string& text, const std::vector<Event>& events, int until_s)
    {
        player_.reset();
        happened_.clear();
        Scenario scenario;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            scenario.push_back(parse_scenario_line(line, no_check).value());
            scenario.back().number = scenario.size();
        }
        begin_ = timers_.now();
        player_ = std::make_unique<ScenarioPlayer>(
            timers_, transcript_, scenario, [this](const std::string& command) { return run(command); });
        transcript_.on_note(
            [this](std::string_view kind, EventFields fields) { player_->saw(kind, fields); });
        for (const auto& event : events) {
            advance_to(event.at_s);
            note(event.text);
        }
        advance_to(until_s);
    }

    const std::string& happened() const { return happened_; }

    const TempRoot root_;
    TimerQueue timers_{TimerQueue::TimePoint{}};
    Transcript transcript_{timers_};
    std::unique_ptr<ScenarioPlayer> player_;

private:
    std::string run(const std::string& command)
    {
        const auto second = std::chrono::duration<double>(timers_.now() - begin_).count();
        std::ostringstream text;
        text << second << ":" << command << " ";
        happened_ += text.str();
        EXPECT_FALSE(std::exchange(running_, true)) << "a command ran within another";
        if (command.starts_with("say ")) {
            note("report " + command.substr(4));
        }
        running_ = false;
        return command == "fail" ? "error no such thing" : "ok";
    }

    void advance_to(int second) { timers_.advance_to(begin_ + std::chrono::seconds(second)); }

    void note(const std::string& text)
    {
        std::istringstream words(text);
        std::vector<std::string> all;
        for (std::string word; words >> word;) {
            std::replace(word.begin(), word.end(), '_', ' ');
            all.push_back(word);
        }
        all.resize(6);
        transcript_.note(all[0], {all[1], all[2], all[3], all[4], all[5]});
    }

    TimerQueue::TimePoint begin_{};
    std::string happened_;
    bool running_ = false;
};

TEST_F(ScenarioPlayerTest, LetsEachLineHappenWhenItsTriggerSays)
{
    const std::vector<Event> asked{{1, "command 1 AT+CSQ"},          {2, "command 2 AT+COPS=0"},
                                   {3, "command 3 AT+UREG?;+CSQ"},   {4, "command 4 AT"},
                                   {5, "answer 4 1 open AT+CSQ OK"}, {6, "command 5 at+csq"}};
    const std::vector<Event> lines{{0, "line VCC off set-up"},
                                   {1, "line VCC on written"},
                                   {2, "line RESET on pulsed"},
                                   {3, "line VCC off written"}};
    struct Case {
        std::string scenario;
        std::vector<Event> events;
        std::string happened;
    };
    const std::vector<Case> cases{
        {"at 2.5 -> a\nat 0 -> b\nat 1 -> c", {}, "0:b 1:c 2.5:a "},
        {"each command +CSQ -> a", asked, "1:a 3:a "},
        {"each command * +1.5 -> a", asked, "2.5:a 4.5:a 7.5:a "}, // what comes meanwhile is not counted
        {"on unanswered AT -> a", {{1, "unanswered 1 1 mute AT"}}, "1:a "},
        {"on line VCC off -> a\non 2 line VCC off -> b\non line VCC on -> c", lines, "0:a 1:c 3:b "},
        {"on line RESET pulsed -> a\non line RESET on -> b\non line RESET off -> c", lines, "2:a 2:b "},
        {"on module up +2 -> a", {{1, "module booting"}, {2, "module up"}}, "4:a "},
        {"on report +CREG: 2 -> a", {{1, "report +CREG:_1"}, {2, "report +CREG:_2,\"1F\""}}, "2:a "},
        {"at 1 -> a\nthen +2 -> b\nthen -> c\nat 2 -> d", {}, "1:a 2:d 3:b 3:c "},
        {"on command +CSQ -> a\nthen on command +CSQ +1 -> b\nthen +1 -> c", asked, "1:a 4:b 5:c "},
        {"each 2 command * -> a\nthen +1 -> b", asked, "2:a 3:b 4:a 5:b "},
        {"each command * -> a\nthen on answer * -> b", asked, "1:a 2:a 3:a 4:a 5:b 6:a "},
        {"at 1 -> say x\nthen on report x -> a\nat 3 -> say x", {}, "1:say x 3:say x 3:a "},
    };
    for (const auto& [scenario, events, expected] : cases) {
        play(scenario, events, 9);
        EXPECT_EQ(happened(), expected) << scenario;
    }
}

TEST_F(ScenarioPlayerTest, EndsALineThatSetsItselfOffForEver)
{
    transcript_.open(root_.path("/transcript"));
    play("each report x -> say x\nat 2 -> later", {{1, "report x"}}, 9);
    EXPECT_THAT(happened(), testing::EndsWith("1:say x 2:later "));
    const auto times = std::count(happened().begin(), happened().end(), ':');
    EXPECT_EQ(times, ScenarioPlayer::MAX_AT_ONCE + 1);
    EXPECT_THAT(root_.read("/transcript"), HasSubstr("scenario\t1\tsay x\terror 1000 commands at one point"));
}

TEST_F(ScenarioPlayerTest, TellsWhatHappenedAndWhatIsLeftAndGoesOnAfterAFailure)
{
    transcript_.open(root_.path("/transcript"));
    play("at 1 -> fail\nthen +1 -> a\non module up -> b\neach command * -> c", {{3, "command 1 AT"}}, 4);
    EXPECT_EQ(happened(), "1:fail 2:a 3:c ");
    EXPECT_EQ(player_->left(), 1U);
    EXPECT_EQ(root_.read("/transcript"), "1000\tscenario\t1\tfail\n"
                                         "1000\tscenario\t1\tfail\terror no such thing\n"
                                         "2000\tscenario\t2\ta\n"
                                         "3000\tcommand\t1\tAT\t\t\t\n"
                                         "3000\tscenario\t4\tc\n");
}

} // namespace
} // namespace bench
