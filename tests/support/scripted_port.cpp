#include "support/scripted_port.hpp"

#include "support/sleeping_threads.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Defaults = std::map<std::string, std::string>;

// What the port spends on getting back in step before it gives a command up.
constexpr std::chrono::milliseconds IN_STEP_LIMIT{6800};
// ... and on a start that nobody answers.
constexpr std::chrono::seconds START_IN_VAIN{60};
constexpr std::chrono::milliseconds STEP{100}; // of time that passes in silence

/// A module of a second boot, registered at home on its family's best network.
const Defaults COMMON{
    {"", ""},
    {"+CMEE?", "+CMEE: 2"}, // what the port itself asks, to get in step
    {"+CFUN?", "+CFUN: 1"},
    {"+CGEREP?", "+CGEREP: 2,1"},
    {"+CMER?", "+CMER: 1,0,0,2,1"},
    {"E0", ""},
    {"+GMI", "u-blox"},
    {"+CGSN", "490154203237518"},
    {"+UUSBCONF?", R"(+UUSBCONF: 2,"ECM",,"0x1143")"},
    {"+UUSBCONF=2", ""},
    {"+UDCONF=50", "+UDCONF: 50,1"},
    {"+UDCONF=50,1", ""},
    {"+CMEE=2", ""},
    {"+CREG=2", ""},
    {"+CGREG=2", ""},
    {"+CGEREP=2,1", ""},
    {"+UREG=1", ""},
    {"+CMER=1,0,0,2,1", ""},
    {"+UCIND=2374", ""},
    {"+COPS=0", ""},
    {"+COPS=2", ""},
    {"+COPS?", R"(+COPS: 0,0,"Home, sweet",2)"},
    {"+CFUN=1", ""},
    {"+CFUN=4", ""},
    {"+CPIN?", "+CPIN: READY"},
    {"+CCID", "+CCID: 8949010010000000017"},
    {"+CIMI", "001010000000001"},
    {"+CPLS=1", ""},
    {"+CPWROFF", ""},
    {"+CGACT=0,1", ""},
    {"+UDOPN=2", R"(+UDOPN: 2,"Home, sweet")"},
    {"+UDOPN=7", R"(+UDOPN: 7,"SIM home")"},
    {"+UDOPN=0", R"(+UDOPN: 0,"26201")"},
    {"+CCLK?", R"(+CCLK: "24/05/01,12:00:00+08")"},
    {"+CSQ", "+CSQ: 20,99"},
    {"+UANTR=0", "+UANTR: 0,50"},
};

const Defaults SARA{
    {"+GMM", "SARA-U201"},
    {"+UGPIOC?", "+UGPIOC:16,25523,024,142,1"},
    {"+UGPIOC=42,1", ""},
    {"+URAT?", "+URAT: 1,2"},
    {"+URAT=1,2", ""},
    {"+UNFM=1,1", ""},
    {"+UNFM?", "+UNFM: 1,1,0,0,0,0"},
    {"+UGPIOC=23,0,0", ""},
    {"+UGPIOC=23,0,1", ""},
    {"+UGPIOC=24,0,1", ""},
    {"+UGPIOR=42", "+UGPIOR: 42,1"},
    {R"(+CGDCONT=1,"IP","internet")", ""},
    {R"(+UAUTHREQ=1,0,"","")", ""},
    {"+UCEDATA=1,0", ""},
    {"+CGACT?", "+CGACT: 1,1"},
    {"+CREG?", R"(+CREG: 2,1,"1A2B","01C3D4E5",2)"},
    {"+CGREG?", R"(+CGREG: 2,1,"1A2B","01C3D4E5",2,1)"},
    {"+UREG?", "+UREG: 1,3"},
};

const Defaults TOBY{
    {"+GMM", "TOBY-L200"},
    {"+UBMCONF?", "+UBMCONF: 1"},
    {"+UBMCONF=1", ""},
    {"+UGPIOC?", "+UGPIOC:22,060,1"},
    {"+UGPIOC=60,1", ""},
    {"+URAT?", "+URAT: 4,3,2"},
    {"+URAT=4,3", ""},
    {"+UIPCONF?", R"(+UIPCONF: "192.168.234.1","255.255.255.0","192.168.234.100","192.168.234.100")"},
    {R"(+UIPCONF="192.168.234.1","255.255.255.0","192.168.234.100","192.168.234.100",)", ""},
    {"+CEREG=3", ""},
    {"+UGPIOC=22,0,0", ""},
    {"+UGPIOC=22,0,1", ""},
    {"+CFUN=15", ""},
    {R"(+CGDCONT=1,"IP","internet")", ""},
    {R"(+UCGDFLT=1,"IP","internet",0,0,0,0,0,0,0,0,0,1,0,0,1,0,0,0,0,0,"","")", ""},
    {R"(+UAUTHREQ=1,0,"","")", ""},
    {"+CGACT=1,1", ""},
    {"+CGACT?", "+CGACT: 1,1"},
    {"+CREG?", R"(+CREG: 2,1,"1A2B","01C3D4E5",7)"},
    {"+CGREG?", "+CGREG: 2,0"},
    {"+CEREG?", R"(+CEREG: 3,1,"1A2B","01C3D4E5",7)"},
    {"+UREG?", "+UREG: 1,7"},
};

Result given_up()
{
    return Result::err({AtErrorCode::PortClosed, AtError::INTERRUPTED, AtError::INTERRUPTED});
}

} // namespace

ScriptedPort::ScriptedPort(ManualClock& clock, Family family)
    : AtTtyPort({"/dev/ttyUbloxModemAT"}, clock), clock_(clock)
{
    for (const auto& defaults : {COMMON, family == Family::SARA ? SARA : TOBY}) {
        for (const auto& [command, lines] : defaults) {
            answers(command, lines);
        }
    }
}

PortResult ScriptedPort::start()
{
    if (!is_available()) {
        return PortResult::err("couldn't open modem: No such file or directory (2)");
    }
    if (mute_) {
        pass_in_silence(START_IN_VAIN, AtCommand("", START_IN_VAIN));
        return PortResult::err("Modem does not respond to AT commands.");
    }
    timeouts_ = 0;
    write_error = false;
    running_ = true;
    return PortResult::ok(true);
}

PortResult ScriptedPort::stop()
{
    running_ = false;
    return PortResult::ok(true);
}

/// The port, for one command.
class ScriptedPort::Turn {
public:
    explicit Turn(ScriptedPort& port) : port_(port) { port_.take_turn(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { port_.end_turn(); }

private:
    ScriptedPort& port_;
};

void ScriptedPort::take_turn()
{
    std::unique_lock held(turns_);
    if (lets_time_pass()) {
        wanted_ = true;
        while (busy_) {
            held.unlock();
            clock_.advance(STEP); // the other's command ends with its time-out at the latest
            held.lock();
        }
    } else {
        ++waiting_;
        turn_over_.wait(held, [this] { return !wanted_ && !busy_; });
        --waiting_;
    }
    busy_ = true;
}

void ScriptedPort::end_turn()
{
    bool awaited = false;
    {
        const std::lock_guard held(turns_);
        busy_ = false;
        wanted_ = wanted_ && !lets_time_pass();
        awaited = waiting_ > 0;
    }
    turn_over_.notify_all();
    if (awaited && lets_time_pass()) {
        clock_.let_others_work();
    }
}

Result ScriptedPort::execute(const AtCommand& command)
{
    auto result = [&] {
        const Turn turn(*this);
        return carry_out(command);
    }();
    command_over();
    return result;
}

Result ScriptedPort::carry_out(const AtCommand& command)
{
    if (!running_) {
        return Result::err({AtErrorCode::PortClosed, "", "PORT_CLOSED"});
    }
    if (interrupted_ && command.interruptible) {
        return given_up();
    }
    if (mute_ && owes_ && command.interruptible) { // nothing is sent to a module that still owes an answer
        return unanswered(IN_STEP_LIMIT, command);
    }
    owes_ = mute_;
    heard(command);
    if (auto instead = overrule_ ? overrule_(command) : std::nullopt) {
        return *std::move(instead);
    }
    const auto* const answer = known(command);
    if (mute_ || (answer != nullptr && answer->silent)) {
        return unanswered(command.timeout, command);
    }
    if (answer == nullptr) {
        return AtCommand::exec_result(AtCommandResponse("", "ERROR"));
    }
    timeouts_ = 0;
    return AtCommand::exec_result(AtCommandResponse(answer->lines, answer->final_line));
}

void ScriptedPort::heard(const AtCommand& command)
{
    sent_.push_back(command.command);
    if (told_) {
        told_(command);
    }
    if (const auto action = actions_.find(command.command); action != actions_.end()) {
        action->second();
    }
}

const ScriptedPort::Answer* ScriptedPort::known(const AtCommand& command) const
{
    const auto answer = answers_.find(command.command);
    if (answer == answers_.end()) {
        EXPECT_TRUE(refuses_unknown) << "nobody knows what to answer to AT" << command.command;
        return nullptr;
    }
    return &answer->second;
}

void ScriptedPort::let_others_work()
{
    await_sleepers();
}

Result ScriptedPort::unanswered(std::chrono::milliseconds silence, const AtCommand& command)
{
    if (!pass_in_silence(silence, command)) {
        return given_up();
    }
    ++timeouts_;
    return Result::err({AtErrorCode::Timeout, "", ""});
}

/// False when it was interrupted on the way.
bool ScriptedPort::pass_in_silence(std::chrono::milliseconds silence, const AtCommand& command)
{
    if (!lets_time_pass()) {
        return wait_in_silence(silence, command);
    }
    for (auto left = silence; left.count() > 0; left -= STEP) {
        if (interrupted_ && command.interruptible) {
            return false;
        }
        clock_.advance(STEP);
    }
    return true;
}

bool ScriptedPort::wait_in_silence(std::chrono::milliseconds silence, const AtCommand& command)
{
    std::unique_lock held(silence_);
    const auto deadline = clock_.now() + silence;
    while (!interrupted_ || !command.interruptible) {
        if (!clock_.wait_until(silence_over_, held, deadline)) {
            return true;
        }
    }
    return false;
}

void ScriptedPort::interrupt() noexcept
{
    {
        const std::lock_guard held(silence_);
        interrupted_ = true;
    }
    silence_over_.notify_all();
    if (lets_time_pass()) {
        clock_.let_others_work();
    }
}

void ScriptedPort::answers(const std::string& command, const std::string& lines)
{
    answers_[command] = {lines, "OK", false};
}

std::string ScriptedPort::answer_to(const std::string& command) const
{
    const auto known = answers_.find(command);
    return known == answers_.end() ? "" : known->second.lines;
}

void ScriptedPort::fails(const std::string& command, const std::string& final_line)
{
    answers_[command] = {"", final_line, false};
}

void ScriptedPort::is_silent(const std::string& command)
{
    answers_[command] = {"", "", true};
}

void ScriptedPort::urc(const std::string& line)
{
    if (observer_ != nullptr) {
        observer_->urc(AtCommandResponse(AtCommandResponse::Type::Unsolicited, line, ""));
    }
}

void ScriptedPort::present(bool there)
{
    present_ = there;
    running_ = running_.load() && there;
}

void ScriptedPort::supplied(bool on)
{
    supplied_ = on;
    running_ = running_.load() && on;
}

std::size_t ScriptedPort::count(const std::string& command) const
{
    return static_cast<std::size_t>(std::count(sent_.begin(), sent_.end(), command));
}
