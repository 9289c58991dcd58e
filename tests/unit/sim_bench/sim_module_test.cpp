#include "control/bench.hpp"
#include "control/control_commands.hpp"
#include "module_fixture.hpp"

#include <gmock/gmock.h>

namespace bench {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Kind = Script::Kind;

class Misbehaviour : public ModuleFixture {};

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
                ElementsAre("command 2 AT+UREG?", "command 3 AT+CSQ", "command 4 AT", "command 5 AT",
                            "info 2 +UREG: 0,3", "answer 2 3000 open AT+UREG? OK", "info 3 +CSQ: 20,99",
                            "answer 3 13000 open AT+CSQ OK", "answer 4 13000 open AT OK",
                            "unanswered 5 13000 lost AT"));
    EXPECT_THAT(at("+UREG?"), HasSubstr("OK")) << "once is over";
}

TEST_F(Misbehaviour, DiffersInWhatIsSaidAndInWhatIsDone)
{
    struct Case {
        Script::Entry entry;
        std::string heard;
        std::string stored; // of the command it is for, and of the next one in the line
        int crashes;
        int pieces;
    };
    const std::string ok = "\r\nOK\r\n";
    for (auto [entry, heard, stored, crashes, pieces] : std::vector<Case>{
             {{.kind = Kind::LOST}, "", "2,1", 0, 0},
             {{.kind = Kind::SILENCE}, "", "0,0", 0, 0},
             {{.kind = Kind::FAIL, .text = "no bench"}, "\r\n+CME ERROR: no bench\r\n", "0,0", 0, 1},
             {{.kind = Kind::CRASH, .crash = {.before = true, .boot = {}}}, "", "0,0", 1, 0},
             {{.kind = Kind::CRASH, .crash = {.before = false, .boot = {}}}, "", "2,1", 1, 0},
             {{.kind = Kind::REPORT, .text = "+CREG: 0"}, "\r\n+CREG: 0\r\n" + ok, "2,1", 0, 2},
             {{.kind = Kind::CUT, .pause = 5ms}, ok, "2,1", 0, 6},
             {{.kind = Kind::ANSWER, .text = "+X: 7\\n8\\nOK"}, "\r\n+X: 7\r\n8\r\n" + ok, "0,1", 0, 2},
             {{.kind = Kind::ANSWER, .text = "+X: 7"}, "\r\n+X: 7\r\n" + ok, "0,1", 0, 2},
             {{.kind = Kind::ANSWER, .text = "ABORTED"}, "\r\nABORTED\r\n", "0,0", 0, 1},
         }) {
        SCOPED_TRACE(heard + std::to_string(static_cast<int>(entry.kind)));
        at("E0;+CMEE=2"); // after a crash they are back
        nvm_.set("uusbconf", "0");
        nvm_.set("udconf.50", "0");
        entry.prefix = "+uusbconf=";
        script().put(entry);
        crashes_ = pieces_ = 0;
        EXPECT_EQ(at("+UUSBCONF=2;+UDCONF=50,1"), heard);
        EXPECT_EQ(nvm_.get("uusbconf") + "," + nvm_.get("udconf.50"), stored);
        EXPECT_TRUE(crashes_ == crashes && pieces_ == pieces) << crashes_ << " crashes, in " << pieces_;
        script().remove("+uusbconf=");
    }
}

TEST_F(Misbehaviour, KeepsTheOrderOfACutAnswerAndWhatComesBehindIt)
{
    script().put({.kind = Kind::CUT, .prefix = "+GMM", .pause = 100ms});
    const auto before = recorded(0).size();
    write("+GMM");
    pass(500ms);
    module_.urc("+CIEV: 2,3");
    pass(1900ms); // its "OK" is out, the report is not
    EXPECT_THAT(recorded(before).back(),
                testing::AllOf(testing::StartsWith("answer"), testing::HasSubstr("AT+GMM")));
    write("+CSQ");
    EXPECT_THAT(heard_within(10s), testing::EndsWith("EV: 2,3\r\n\r\n+CSQ: 20,99\r\n\r\nOK\r\n"));
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
    module_.urc("+CREG: 0");
    write("+CSQ");
    pass(1s);
    module_.interpreter().hang();
    EXPECT_EQ(at(""), "");
    restart_module();
    EXPECT_EQ(at(""), "AT\r\r\nOK\r\n");
    EXPECT_THAT(recorded(before),
                ElementsAre("command 2 AT+GMM", "command 3 AT+CGSN", "unanswered 2 3000 down AT+GMM",
                            "unanswered 3 3500 down AT+CGSN", "report +CREG: 0", "command 4 AT+CSQ",
                            "unanswered 4 13500 crashed AT+CSQ", "command 5 AT", "unanswered 5 14500 mute AT",
                            "command 6 AT", "answer 6 15500 open AT OK"));
}

TEST_F(Misbehaviour, OutlivesAnEndlessLineAndRestartsThoughTheAnswerIsLost)
{
    EXPECT_EQ(at(std::string(1'000'000, 'x')), "\r\nERROR\r\n");
    script().put({.kind = Kind::LOST, .prefix = "+CFUN=15"});
    EXPECT_EQ(at("+CFUN=15"), "");
    EXPECT_THAT(at(""), StartsWith("AT\r")) << "the echo of a module that has started anew";
}

TEST_F(Misbehaviour, ForgetsASettingAndKeepsTheOthers)
{
    nvm_.forget_changes("uusbconf", true);
    EXPECT_EQ(at("+UUSBCONF=2;+UDCONF=50,1"), "\r\nOK\r\n");
    EXPECT_THAT(at("+UUSBCONF?;+UDCONF=50"), HasSubstr("+UUSBCONF: 0,\"\",,\"0x1102\"\r\n+UDCONF: 50,1"));
    nvm_.forget_changes("uusbconf", false);
    at("+UUSBCONF=2");
    EXPECT_EQ(nvm_.get("uusbconf"), "2");
}

TEST(Controls, AreReadOrRefusedInWords)
{
    const TempRoot root;
    Options options;
    options.root = root.path("/bench");
    options.module.family = Family::TOBY;
    options.commands = {"mute on", "boot never"};
    Bench bench(options);
    const std::vector<std::pair<std::string, std::string>> cases{
        {"state", "ok power=off port=absent"},
        {"from 2 crash +COPS=0 after 20", "ok"},
        {"crash +COPS=0 during", "error crash PREFIX"},
        {"late +UREG? -1", "error '-1' is not a number"},
        {"once state", "error 'state' is nothing"},
        {"nth 0 silent AT", "error '0' is not a number"},
        {"forget gpio.22 on", "error 'gpio.22' is no setting"},
        {"flap cell 3", "error flap"},
        {"network nowhere", "error network home"},
        {"sim internal pull", "error sim"},
        {"port gone", "error port drop"},
        {"gpio VCC unreadable", "error VCC is an output"},
        {"gpio VINT unwritable", "error VINT is an input"},
        {"gpio 4 normal", "error '4' is no line of this board"},
        {"backoff 7", "error"},
        {"", "error unknown command ''"},
    };
    for (const auto& [command, answer] : cases) {
        EXPECT_THAT(run_control_command(bench, command), StartsWith(answer)) << command;
    }
    EXPECT_THAT(run_control_command(bench, "state"), HasSubstr("silent=1")) << "from the start";

    options.root = root.path("/other");
    options.commands = {"boot soon"};
    EXPECT_THROW(Bench{options}, BenchError);
    options.commands.clear();
    options.transcript = "/nowhere/transcript";
    EXPECT_THROW(Bench{options}, BenchError);
    options.root = root.path("/third");
    options.transcript.clear();
    root.write("/day.scn", "at 1 -> network hom\n");
    options.scenario = root.path("/day.scn");
    EXPECT_THROW(Bench{options}, BenchError);
    EXPECT_FALSE(root.exists("/third")) << "read before the tree is made";
    root.write("/day.scn", "at 1 -> network home\n");
    EXPECT_THAT(run_control_command(*std::make_unique<Bench>(options), "state"),
                HasSubstr("scenario_left=1"));
}

} // namespace
} // namespace bench
