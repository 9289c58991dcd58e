#include "scenario/rig.hpp"

#include "control/control_server.hpp"
#include "scenario/log_rules.hpp"
#include "support/free_port.hpp"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <thread>

namespace {

constexpr auto BUDGET = std::chrono::seconds(220); // below CTest's limit: who waits in vain ends by himself
constexpr int FACTOR = FAST_TIME_FACTOR;           // of the programs' time against the test's
constexpr auto POLL_PAUSE = std::chrono::milliseconds(50);
constexpr const char* TRANSCRIPT = "/transcript";
constexpr std::size_t LOG_END = 20'000;                       // characters of a log that a failure shows
constexpr const char* BROKER_PROGRAM = "/usr/sbin/mosquitto"; // not in an ordinary user's PATH

/// The programs under test live faster than the test and the broker do.
std::vector<std::string> fast_time()
{
    static const std::string ORIGIN =
        std::to_string(std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1)) +
        "," +
        std::to_string(std::chrono::system_clock::now().time_since_epoch() / std::chrono::nanoseconds(1));
    return {std::string("LD_PRELOAD=") + FAST_TIME_PRELOAD, "FAST_TIME=" + std::to_string(FACTOR),
            "FAST_TIME_ORIGIN=" + ORIGIN};
}

int occurrences(const std::string& all, const std::string& text)
{
    int times = 0;
    for (auto at = all.find(text); at != std::string::npos; at = all.find(text, at + 1)) {
        ++times;
    }
    return times;
}

} // namespace

Rig::Rig() : port_(free_port()), deadline_(std::chrono::steady_clock::now() + BUDGET) {}

void Rig::TearDown()
{
    std::vector<std::string> logs{"/broker.log", "/sim.log", TRANSCRIPT};
    for (int run = 1; run <= runs_; ++run) {
        logs.push_back(log_name(run));
        for (const char* report : {"Sanitizer", "runtime error:"}) { // though celld may have lived on
            EXPECT_EQ(occurrences(root_.read(logs.back()), report), 0) << logs.back();
        }
        EXPECT_THAT(log_violations(root_.read(logs.back())), testing::IsEmpty()) << logs.back();
    }
    for (const auto& violation : bench::check_transcript(root_.path(TRANSCRIPT))) {
        const bool known = excused_.count(violation.rule) != 0;
        EXPECT_TRUE(known) << "transcript, " << violation.text;
    }
    for (const auto& name : HasFailure() ? logs : std::vector<std::string>{}) {
        const auto text = root_.read(name);
        std::cout << "---- " << name << '\n'
                  << text.substr(text.size() - std::min(text.size(), LOG_END)) << std::endl;
    }
}

void Rig::plug(const Unit& unit)
{
    board_ = unit.board;
    configure(unit.settings);
    root_.write("/etc/vexa/ecu_variables.conf",
                "hwvariant = QBX2\nmodemtype = LTE\nhasintsim = true\nhasextsim = true\ndivantenna = NONE\n"
                "hwversion = " +
                    board_ + "\n");
    root_.write("/etc/vexa/system_parameters.conf", "8231 = \"internet\"\n41024 = 5000\n41025 = 15000\n");
    std::vector<std::string> command{CELLD_SIM_PROGRAM, "--root",       root_.path("").string(),
                                     "--log",           "--transcript", root_.path(TRANSCRIPT).string()};
    // Quicker than a module, slow enough for every wait to happen.
    for (const char* option :
         {"--boot-delay=500", "--sim-delay=300", "--registration-delay=500", "--command-delay=5"}) {
        command.emplace_back(option);
    }
    command.push_back("--board=" + board_);
    command.insert(command.end(), unit.module.begin(), unit.module.end());
    module_.start(command, root_.path("/sim.log"), fast_time());
    await("the bench module", [this] { return root_.read("/sim.log").find("ready") != std::string::npos; });
}

void Rig::configure(const std::string& settings)
{
    root_.write("/etc/vexa/celld.conf", "host = 127.0.0.1\nport = " + std::to_string(port_) +
                                            "\nlogmode = stdout\nloglevel = INFO\n" + settings);
}

void Rig::start_broker()
{
    // "user root": a process that changes its user is no longer killed with its parent (prctl(2)).
    root_.write("/broker.conf",
                "listener " + std::to_string(port_) + " 127.0.0.1\nallow_anonymous true\nuser root\n");
    broker_.start({BROKER_PROGRAM, "-c", root_.path("/broker.conf").string()}, root_.path("/broker.log"));
    if (bus_ == nullptr) {
        bus_ = std::make_unique<BusProbe>(port_, "probe");
        bus_->backend_connected();
    }
    await("the broker", [this] { return bus_->is_connected(); });
}

void Rig::start_celld(const std::vector<std::string>& words)
{
    std::vector<std::string> command{CELLD_PROGRAM};
    command.insert(command.end(), words.begin(), words.end());
    celld_.start(command, root_.path(log_name(++runs_)), fast_time());
    expected_ = false;
}

void Rig::connect(const Unit& unit)
{
    plug(unit);
    start_broker();
    start_celld();
    await_state(CONNECTED);
}

void Rig::radio_silence(bool on)
{
    sim(on ? "note blackout on" : "note blackout off");
    bus_->blackout(on);
}

void Rig::renew_budget(std::chrono::seconds time)
{
    deadline_ = std::chrono::steady_clock::now() + time / FACTOR;
}

void Rig::pass(std::chrono::seconds time)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(time) / FACTOR);
}

std::chrono::seconds Rig::in_programs_time(std::chrono::seconds time)
{
    return time * FACTOR;
}

void Rig::await(const std::string& what, const std::function<bool()>& condition)
{
    while (!condition()) {
        if (runs_ > 0 && !expected_ && !celld_.running()) {
            throw std::runtime_error("celld ended before " + what);
        }
        if (std::chrono::steady_clock::now() >= deadline_) {
            throw std::runtime_error("waited in vain for " + what);
        }
        std::this_thread::sleep_for(POLL_PAUSE);
    }
}

void Rig::await_state(State state)
{
    await(pb::ModemStatus_ModemState_Name(state), [&] { return bus_->advance_to(state); });
}

void Rig::await_leaving(State state)
{
    await("the end of " + pb::ModemStatus_ModemState_Name(state),
          [&] { return bus_->advance_to(state, false); });
}

void Rig::await_reconnection()
{
    await_leaving(CONNECTED);
    await_state(CONNECTED);
}

void Rig::await_more_statuses(std::size_t count)
{
    const auto wanted = bus_->statuses() + count;
    await("more statuses", [&] { return bus_->statuses() >= wanted; });
}

int Rig::await_exit()
{
    await("the end of celld", [this] { return expected_ = !celld_.running(); });
    return celld_.result();
}

int Rig::terminate()
{
    celld_.signal(SIGTERM);
    return await_exit();
}

std::string Rig::sim(const std::string& command) const
{
    auto answer = bench::send_control_command(root_.path(""), command);
    if (answer.rfind("ok", 0) != 0) {
        throw std::runtime_error("celld-sim: '" + command + "': " + answer);
    }
    return answer;
}

std::vector<std::string> Rig::journal() const
{
    std::istringstream lines(sim("journal"));
    std::string line;
    std::getline(lines, line); // "ok" and their number
    std::vector<std::string> commands;
    while (std::getline(lines, line)) {
        commands.push_back(line.rfind("AT", 0) == 0 ? line.substr(2) : line);
    }
    return commands;
}

int Rig::commands(const std::string& prefix) const
{
    const auto all = journal();
    return static_cast<int>(std::count_if(
        all.begin(), all.end(), [&](const std::string& line) { return line.rfind(prefix, 0) == 0; }));
}

int Rig::said(const std::string& text) const
{
    return occurrences(log(), text);
}

bool Rig::supply() const
{
    const bool k7 = board_ == "k7"; // whose supply is switched on by a low level
    const auto value = root_.read(k7 ? "/sys/class/gpio/gpio162/value" : "/sys/class/gpio/gpio3/value");
    return value.substr(0, 1) == (k7 ? "0" : "1");
}
