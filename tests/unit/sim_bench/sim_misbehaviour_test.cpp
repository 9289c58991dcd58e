#include "bench_module.hpp"
#include "board/power.hpp"
#include "control/bench.hpp"
#include "control/control_commands.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

namespace bench {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Kind = Script::Kind;

class Misbehaviour : public BenchModule {
protected:
    Misbehaviour()
    {
        transcript_.open(root_ / "transcript");
        power_up(Family::SARA);
        at("E0");
    }

    Script& script() { return module_->interpreter().script(); }

    /// The transcript without its times, from its `skipped`-th line on.
    std::vector<std::string> recorded(std::size_t skipped) const
    {
        std::vector<std::string> lines;
        std::string text = read_file(root_ / "transcript").value();
        for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
            lines.push_back(text.substr(text.find('\t') + 1, end - text.find('\t') - 1));
            text.erase(0, end + 1);
        }
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(skipped));
        std::for_each(lines.begin(), lines.end(),
                      [](std::string& line) { std::replace(line.begin(), line.end(), '\t', ' '); });
        return lines;
    }
};

TEST_F(Misbehaviour, AnswersLateAndThenAllThatWaitedInOrder)
{
    script().put({.kind = Kind::LATE, .prefix = "+UREG?", .pause = 12s, .once = true});
    script().put({.kind = Kind::LOST, .prefix = "AT", .turn = 2});
    const auto before = recorded(0).size();
    write("+UREG?");
    pass(10s);
    write("+CSQ");
    write("");
    write("");
    EXPECT_EQ(heard_within(2s), "");
    EXPECT_EQ(heard_within(1s), "\r\n+UREG: 0,3\r\n\r\nOK\r\n\r\n+CSQ: 20,99\r\n\r\nOK\r\n\r\nOK\r\n");
    EXPECT_THAT(recorded(before),
                testing::ElementsAre("command 2 AT+UREG?", "command 3 AT+CSQ", "command 4 AT", "command 5 AT",
                                     "info 2 +UREG: 0,3", "answer 2 3000 open AT+UREG? OK",
                                     "info 3 +CSQ: 20,99", "answer 3 13000 open AT+CSQ OK",
                                     "answer 4 13000 open AT OK", "unanswered 5 13000 lost AT"));
    EXPECT_THAT(at("+UREG?"), HasSubstr("OK")) << "once is over";
}

TEST_F(Misbehaviour, DiffersInWhatIsSaidAndInWhatIsDone)
{
    struct Case {
        Script::Entry entry;
        std::string heard;
        std::string stored;
        int crashes;
        int pieces;
    };
    const std::vector<Case> cases{
        {{.kind = Kind::LOST}, "", "2", 0, 0},
        {{.kind = Kind::SILENCE}, "", "0", 0, 0},
        {{.kind = Kind::FAIL}, "\r\nERROR\r\n", "0", 0, 1},
        {{.kind = Kind::CRASH, .crash = {.before = true, .boot = {}}}, "", "0", 1, 0},
        {{.kind = Kind::CRASH, .crash = {.before = false, .boot = {}}}, "", "2", 1, 0},
        {{.kind = Kind::REPORT, .text = "+CREG: 0"}, "\r\n+CREG: 0\r\n\r\nOK\r\n", "2", 0, 2},
        {{.kind = Kind::CUT, .pause = 5ms}, "\r\nOK\r\n", "2", 0, 6},
    };
    for (auto [entry, heard, stored, crashes, pieces] : cases) {
        SCOPED_TRACE(static_cast<int>(entry.kind));
        nvm_->set("uusbconf", "0");
        entry.prefix = "+uusbconf=";
        script().put(entry);
        crashes_ = pieces_ = 0;
        EXPECT_EQ(at("+UUSBCONF=2"), heard);
        EXPECT_EQ(nvm_->get("uusbconf"), stored);
        EXPECT_EQ(crashes_, crashes);
        EXPECT_EQ(pieces_, pieces);
        script().remove("+uusbconf=");
        at("E0"); // after a crash it is back
    }
}

TEST_F(Misbehaviour, KeepsTheOrderOfACutAnswerAndWhatComesBehindIt)
{
    script().put({.kind = Kind::CUT, .prefix = "+GMM", .pause = 100ms});
    write("+GMM");
    pass(500ms);
    write("+CSQ");
    module_->urc("+CIEV: 2,3");
    EXPECT_THAT(heard_within(10s),
                testing::EndsWith("\r\nOK\r\n\r\n+CIEV: 2,3\r\n\r\n+CSQ: 20,99\r\n\r\nOK\r\n"));
}

TEST_F(Misbehaviour, AnswersAsItIsToldAndGoesOnWithTheLineOnlyAfterAnOk)
{
    const std::string next = ";+UDCONF=50,1"; // seen in the settings when the line went on
    const std::vector<std::tuple<Kind, std::string, std::string, std::string>> cases{
        {Kind::ANSWER, "+CSQ: 7,7", "\r\n+CSQ: 7,7\r\n\r\nOK\r\n", "1"},
        {Kind::ANSWER, "+CSQ: 7,7\\n+CSQ: 8,8\\nOK", "\r\n+CSQ: 7,7\r\n+CSQ: 8,8\r\n\r\nOK\r\n", "1"},
        {Kind::ANSWER, "ABORTED", "\r\nABORTED\r\n", "0"},
        {Kind::FAIL, "no bench", "\r\n+CME ERROR: no bench\r\n", "0"},
        {Kind::SILENCE, "", "", "0"},
    };
    at("+CMEE=2");
    for (const auto& [kind, text, heard, stored] : cases) {
        nvm_->set("udconf.50", "0");
        script().put({.kind = kind, .prefix = "+CSQ", .text = text});
        EXPECT_EQ(at("+CSQ" + next), heard);
        EXPECT_EQ(nvm_->get("udconf.50"), stored) << text;
    }
}

TEST_F(Misbehaviour, OwesNothingAfterARestartAndSaysSoInTheTranscript)
{
    script().put({.kind = Kind::CUT, .prefix = "+GMM", .pause = 100ms});
    script().put({.kind = Kind::CRASH, .prefix = "+CSQ", .crash = {.before = true, .boot = {}}});
    const auto before = recorded(0).size();
    write("+GMM");
    pass(500ms);
    write("+CGSN");
    restart_module();
    EXPECT_EQ(heard_within(10s), "");
    module_->urc("+CREG: 0");
    write("+CSQ");
    pass(1s);
    module_->interpreter().hang();
    EXPECT_EQ(at(""), "");
    restart_module();
    EXPECT_EQ(at(""), "AT\r\r\nOK\r\n");
    EXPECT_THAT(recorded(before),
                testing::ElementsAre("command 2 AT+GMM", "command 3 AT+CGSN", "unanswered 2 3000 down AT+GMM",
                                     "unanswered 3 3500 down AT+CGSN", "report +CREG: 0", "command 4 AT+CSQ",
                                     "unanswered 4 13500 crashed AT+CSQ", "command 5 AT",
                                     "unanswered 5 14500 mute AT", "command 6 AT",
                                     "answer 6 15500 open AT OK"));
}

TEST_F(Misbehaviour, RestartsThoughTheAnswerIsLostAndTellsThePinAttemptsLeft)
{
    script().put({.kind = Kind::LOST, .prefix = "+CFUN=15"});
    EXPECT_EQ(at("+CFUN=15"), "");
    EXPECT_THAT(at(""), StartsWith("AT\r")) << "the echo of a module that has started anew";
    at("E0;+UGPIOC=23,0,1");
    pass(2s);
    const auto before = recorded(0).size();
    at("+CPIN?");
    at("+CPIN=\"1\"");
    at("+cpin=\"5193\"");
    at("+CPIN=\"5193\""); // open already: costs none
    std::vector<std::string> attempts;
    for (const auto& line : recorded(before)) {
        if (line.starts_with("pin")) {
            attempts.push_back(line);
        }
    }
    EXPECT_THAT(attempts, testing::ElementsAre("pin 3", "pin 2"));
}

TEST_F(Misbehaviour, StrikesTheCommandsThatItIsFor)
{
    const std::vector<std::pair<Script::Entry, std::string>> cases{
        {{.kind = Kind::SILENCE, .prefix = "+CSQ"}, "xxxx"},
        {{.kind = Kind::SILENCE, .prefix = "*", .once = true}, "x..."},
        {{.kind = Kind::SILENCE, .prefix = "+CSQ", .turn = 3, .once = true}, "..x."},
        {{.kind = Kind::SILENCE, .prefix = "+c", .turn = 2}, ".xxx"},
        {{.kind = Kind::SILENCE, .prefix = "AT"}, "...."},
    };
    for (const auto& [entry, expected] : cases) {
        script().put(entry);
        std::string struck;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            struck += at("+CSQ").empty() ? 'x' : '.';
        }
        EXPECT_EQ(struck, expected) << entry.prefix;
        script().remove("");
    }
}

TEST_F(Misbehaviour, ForgetsASettingAndKeepsTheOthers)
{
    nvm_->forget_changes("uusbconf", true);
    EXPECT_EQ(at("+UUSBCONF=2;+UDCONF=50,1"), "\r\nOK\r\n");
    EXPECT_THAT(at("+UUSBCONF?;+UDCONF=50"), HasSubstr("+UUSBCONF: 0,\"\",,\"0x1102\"\r\n+UDCONF: 50,1"));
    nvm_->forget_changes("uusbconf", false);
    at("+UUSBCONF=2");
    EXPECT_EQ(nvm_->get("uusbconf"), "2");
}

TEST_F(Misbehaviour, FlapsUntilItIsStopped)
{
    power_up(Family::TOBY);
    module_->network().surroundings().contexts_refused = true;
    at("E0;+CEREG=2;+CGDCONT=1,\"IP\",\"apn\"");
    pass(10s);
    EXPECT_THAT(at("+CGACT?"), HasSubstr("+CGACT: 1,0")) << "no default bearer";
    module_->flapping().registration(10s);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(at("+CEREG?"), "\r\n+CEREG: 2,0\r\n\r\nOK\r\n\r\n+CEREG: 2\r\n");
        EXPECT_THAT(heard_within(19s), HasSubstr("\r\n+CEREG: 1,"));
    }
    module_->flapping().technology(10s, ACT_UTRAN);
    pass(5s); // the search for what was lost just now
    EXPECT_THAT(at("+CEREG?"), HasSubstr("+CEREG: 2,0\r\n"));
    module_->flapping().stop();
    EXPECT_THAT(at("+CEREG?"), HasSubstr("+CEREG: 2,1,")) << "as it was";
    EXPECT_EQ(heard_within(60s), "");
}

TEST(PowerControlTest, BootsAsLongAsItIsTold)
{
    struct Observer : PowerObserver {
        void module_booting() override { ++boots; }
        void module_up() override { ++ups; }
        void module_down() override {}
        int boots = 0;
        int ups = 0;
    } seen;
    TimerQueue timers{TimerQueue::TimePoint{}};
    PowerControl power(timers, 4s, seen);
    const auto ups_after = [&](std::chrono::seconds time) {
        power.evaluate();
        timers.advance_to(timers.now() + time);
        return seen.ups;
    };
    power.set_supply(true, false);
    power.set_power_on(true, false);
    EXPECT_EQ(ups_after(5s), 1);
    power.restart(20s);
    EXPECT_EQ(ups_after(19s), 1);
    EXPECT_EQ(ups_after(2s), 2);
    power.boot_time({});
    power.restart(20s); // the longer failure counts
    EXPECT_EQ(ups_after(3600s), 2);
    power.boot_time(1s);
    power.set_supply(true, true);
    EXPECT_EQ(ups_after(2s), 3);
    EXPECT_EQ(seen.boots, 4);
}

class Controls : public Misbehaviour {};

TEST_F(Controls, AreReadOrRefusedInWords)
{
    Options options;
    options.root = root_ / "bench";
    options.module.family = Family::TOBY;
    options.commands = {"mute on", "boot never"};
    Bench bench(options);
    const std::vector<std::pair<std::string, std::string>> cases{
        {"state", "ok power=off port=absent"},
        {"once late +UREG? 12000", "ok"},
        {"nth 3 crash +COPS=0 before never", "ok"},
        {"from 2 crash +COPS=0 after 20", "ok"},
        {"crash +COPS=0 during", "error crash PREFIX"},
        {"crash +COPS=0 after soon", "error 'soon' is not a number"},
        {"late +UREG? -1", "error '-1' is not a number"},
        {"once state", "error 'state' is nothing"},
        {"nth 0 silent AT", "error '0' is not a number"},
        {"lose", "error the prefix"},
        {"cut * ", "ok"},
        {"forget router-mode on", "ok"},
        {"forget gpio.22 on", "error 'gpio.22' is no setting"},
        {"boot soon", "error 'soon'"},
        {"flap rat 2 500", "ok"},
        {"flap cell 3", "error flap"},
        {"context refused Service not subscribed", "ok"},
        {"backoff 5", "ok"},
        {"backoff 7", "error"},
        {"", "error unknown command ''"},
    };
    for (const auto& [command, answer] : cases) {
        EXPECT_THAT(run_control_command(bench, command), StartsWith(answer)) << command;
    }
    EXPECT_THAT(run_control_command(bench, "state"), HasSubstr("silent=1")) << "from the start";

    options.root = root_ / "other";
    options.commands = {"boot soon"};
    EXPECT_THROW(Bench{options}, BenchError);
    options.commands.clear();
    options.transcript = "/nowhere/transcript";
    EXPECT_THROW(Bench{options}, BenchError);
}

} // namespace
} // namespace bench
