#include "control/bench.hpp"
#include "control/control_commands.hpp"
#include "module/module.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

namespace bench {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Kind = Script::Kind;

/// A module with its own time: what is sent is answered before the call returns.
class Misbehaviour : public testing::Test, public ModuleHost {
protected:
    Misbehaviour()
    {
        transcript_.open(root_.path("/transcript"));
        power_up(Family::SARA);
    }

    void power_up(Family family)
    {
        module_.reset();
        setup_.family = family;
        nvm_ = std::make_unique<Nvm>(root_.path("/nvm.conf"), family);
        module_ = std::make_unique<Module>(setup_, timers_, *nvm_, transcript_, *this);
        restart_module();
        pass(2s); // the SIM answers after one
        at("E0");
    }

    void pass(std::chrono::milliseconds time) { timers_.advance_to(timers_.now() + time); }
    void write(const std::string& command) { module_->receive("AT" + command + "\r\n"); }
    std::string heard_within(std::chrono::milliseconds time)
    {
        output_.clear();
        pass(time);
        return output_;
    }
    std::string at(const std::string& command)
    {
        output_.clear();
        write(command);
        pass(1s);
        return output_;
    }

    void restart_module() override
    {
        module_->power_down();
        module_->power_up();
    }

    Script& script() { return module_->interpreter().script(); }

    /// The transcript without its times, from its `skipped`-th line on.
    std::vector<std::string> recorded(std::size_t skipped) const
    {
        std::vector<std::string> lines;
        std::istringstream text(root_.read("/transcript"));
        for (std::string line; std::getline(text, line);) {
            std::replace(line.begin(), line.end(), '\t', ' ');
            lines.push_back(line.substr(line.find(' ') + 1));
        }
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(skipped));
        return lines;
    }

    const TempRoot root_;
    ModuleSetup setup_;
    TimerQueue timers_{TimerQueue::TimePoint{}};
    Transcript transcript_{timers_};
    std::unique_ptr<Nvm> nvm_;
    std::unique_ptr<Module> module_;
    int pieces_ = 0;  ///< the module's output came in
    int crashes_ = 0; ///< of its firmware

private:
    void transmit(std::string_view bytes) override
    {
        output_ += bytes;
        ++pieces_;
    }
    void switch_module_off() override {}
    void crash_module(const Crash&) override
    {
        ++crashes_;
        restart_module();
    }
    std::string port_state() const override { return "open"; }
    void log(char, const std::string&) override {}

    std::string output_;
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
        nvm_->set("uusbconf", "0");
        nvm_->set("udconf.50", "0");
        entry.prefix = "+uusbconf=";
        script().put(entry);
        crashes_ = pieces_ = 0;
        EXPECT_EQ(at("+UUSBCONF=2;+UDCONF=50,1"), heard);
        EXPECT_EQ(nvm_->get("uusbconf") + "," + nvm_->get("udconf.50"), stored);
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
    module_->urc("+CIEV: 2,3");
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
    module_->urc("+CREG: 0");
    write("+CSQ");
    pass(1s);
    module_->interpreter().hang();
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

TEST_F(Misbehaviour, HasASimThatIsBusyForAWhileAndOneThatWantsItsPuk)
{
    at("+CMEE=2;+CREG=2");
    pass(5s);
    EXPECT_THAT(at("+CREG?"), HasSubstr("+CREG: 2,1,"));
    module_->sims().keep_busy(Slot::INTERNAL, 20s);
    module_->sims().keep_busy(Slot::EXTERNAL, 90s);
    EXPECT_THAT(at("+CPIN?"), HasSubstr("+CME ERROR: SIM busy"));
    EXPECT_THAT(at("+CREG?"), HasSubstr("+CREG: 2,0\r\n"));
    restart_module();
    pass(17s); // and two questions of a second each
    EXPECT_THAT(at("E0;+CMEE=2;+CPIN?"), HasSubstr("SIM busy")) << "a restart does not end it";
    EXPECT_EQ(at("+CPIN?"), "\r\n+CPIN: READY\r\n\r\nOK\r\n");
    pass(4s);
    EXPECT_THAT(at("+CREG?"), HasSubstr("+CREG: 0,1\r\n")) << "by itself";

    module_->sims().pin_attempts(Slot::INTERNAL, 0);
    EXPECT_THAT(at("+CPIN?;+CREG?"), HasSubstr("+CPIN: SIM PUK\r\n+CREG: 0,0\r\n"));
    module_->sims().pin_attempts(Slot::INTERNAL, 1);
    pass(4s);
    EXPECT_THAT(at("+CPIN?;+CREG?"), HasSubstr("+CPIN: READY\r\n+CREG: 0,1\r\n"));
}

TEST_F(Misbehaviour, IsServedForEmergenciesOnly)
{
    const std::string packet[] = {"+CGREG: 0,8\r\n", "+CGREG: 0,0\r\n+CEREG: 0,8\r\n"};
    for (const auto family : {Family::SARA, Family::TOBY}) {
        power_up(family);
        pass(5s);
        module_->network().answer(Surroundings::Answer::EMERGENCY);
        const bool lte = family == Family::TOBY;
        EXPECT_THAT(at(lte ? "+CREG?;+CGREG?;+CEREG?" : "+CREG?;+CGREG?"),
                    HasSubstr("\r\n+CREG: 0,8\r\n" + packet[lte ? 1 : 0]));
        EXPECT_FALSE(module_->network().registered() || module_->network().attached());
        module_->network().answer(Surroundings::Answer::HOME);
        pass(4s);
        EXPECT_TRUE(module_->network().attached());
    }
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
        {"network emergency", "ok"},
        {"network nowhere", "error network home"},
        {"sim external busy 30", "ok"},
        {"sim external busy", "error '' is not a number"},
        {"sim internal puk", "ok"},
        {"sim internal pull", "error sim"},
        {"port drop never", "ok"},
        {"port drop ever", "error 'ever' is not a number"},
        {"port back", "ok"},
        {"port gone", "error port drop"},
        {"gpio VINT unreadable", "ok"},
        {"gpio 3 unwritable", "ok"},
        {"gpio 3 normal", "ok"},
        {"gpio VCC unreadable", "error VCC is an output"},
        {"gpio VINT unwritable", "error VINT is an input"},
        {"gpio VCC broken", "error gpio LINE"},
        {"gpio 4 normal", "error '4' is no line of this board"},
        {"note blackout on", "ok"},
        {"backoff 5", "ok"},
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
