#include "support/wired_port.hpp"

#include "support/sleeping_threads.hpp"

#include <optional>
#include <thread>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr const char* NODE = "/dev/ttyUbloxModemAT";
constexpr auto REAL_PAUSE = 10us;

} // namespace

WiredPort::WiredPort(ManualClock& clock, Family family, const TempRoot& root)
    : ScriptedPort(clock, family), clock_(clock), node_(root.path(NODE))
{
    port_rest::kind = port_rest::Kind::NONE;
    wire_.plug_in(node_);
    static_cast<void>(AtTtyPort::wait_until_available()); // it takes the name from there
    clock_.pass_waits([this] { return settle(); });
}

WiredPort::~WiredPort()
{
    clock_.pass_waits({});
    static_cast<void>(AtTtyPort::stop());
    port_rest::kind = port_rest::Kind::REAL;
}

Result WiredPort::execute(const AtCommand& command)
{
    auto result = AtTtyPort::execute(command);
    if (lets_time_pass()) {
        settle(); // who waits for a turn has it now, each time
    }
    if (ended_) {
        ended_(command, result);
    }
    return result;
}

PortResult WiredPort::start()
{
    settle(); // what a command has left on the line
    write_error = false;
    return AtTtyPort::start();
}

void WiredPort::interrupt() noexcept
{
    AtTtyPort::interrupt();
    disturbed_ = true;
    if (lets_time_pass()) {
        settle();
    }
}

void WiredPort::present(bool there)
{
    ScriptedPort::present(there);
    take_the_line();
}

void WiredPort::supplied(bool on)
{
    ScriptedPort::supplied(on);
    take_the_line();
}

/// It is there or not, as the module is.
void WiredPort::take_the_line()
{
    const bool there = ScriptedPort::is_available();
    if (there == std::filesystem::is_symlink(node_)) {
        return;
    }
    forget_what_is_owed();
    if (there) {
        wire_.plug_in(node_);
    } else {
        wire_.hang_up();
        std::filesystem::remove(node_);
    }
    disturbed_ = true;
    settle();
}

void WiredPort::loop_ended()
{
    if (ScriptedPort::is_available()) {
        forget_what_is_owed();
        wire_.plug_in(node_);
        disturbed_ = true;
        settle();
    }
}

void WiredPort::forget_what_is_owed()
{
    queue_.clear();
    busy_until_ = {};
}

void WiredPort::say(const std::string& bytes)
{
    if (ScriptedPort::is_available() && is_running()) { // else nobody reads it
        wire_.say(bytes);
        disturbed_ = true;
        settle();
    }
}

void WiredPort::say_piecemeal(const std::string& bytes)
{
    for (const char byte : bytes) {
        if (!is_running()) {
            return;
        }
        wire_.say(std::string(1, byte));
        while (!PtyWire::is_read() && is_running()) {
            std::this_thread::sleep_for(REAL_PAUSE);
        }
    }
    disturbed_ = true;
}

void WiredPort::say_after(std::chrono::milliseconds time, const std::string& bytes)
{
    busy_until_ = clock_.now() + time;
    clock_.at(time, [this, bytes, line = wire_.line()] {
        if (line != wire_.line()) {
            return; // it has restarted since
        }
        say(bytes);
        for (auto waiting = std::exchange(queue_, {}); !waiting.empty(); waiting.pop_front()) {
            hear(waiting.front());
        }
    });
}

/// True when there was anything to do.
bool WiredPort::settle()
{
    if (std::exchange(settling_, true)) {
        return true; // who is at it goes on
    }
    bool anything = disturbed_.exchange(false);
    const auto look = [&]() -> std::optional<long> {
        const bool heard = wire_.hear([this](const std::string& line) { hear(line); });
        const bool at_rest = !heard && !disturbed_.exchange(false) && (PtyWire::is_read() || !is_running());
        const auto switches = at_rest ? switches_of_sleepers() : std::nullopt;
        anything = anything || !switches;
        return switches;
    };
    for (auto last = look(), now = look(); !now || now != last; last = std::exchange(now, look())) {
        std::this_thread::sleep_for(REAL_PAUSE);
    }
    settling_ = false;
    return anything;
}

void WiredPort::hear(const std::string& line)
{
    if (clock_.now() < busy_until_) {
        queue_.push_back(line);
    } else {
        answer(line);
    }
}

void WiredPort::answer(const std::string& line)
{
    const AtCommand command(line.substr(std::min<std::size_t>(line.size(), 2))); // behind "AT"
    const auto before = wire_.line();
    heard(command);
    if (is_mute() || !ScriptedPort::is_available() || wire_.line() != before) {
        return; // what is told may have taken it away
    }
    const auto bytes = bytes_of(known(command));
    if (const auto fault = which_fault_ ? which_fault_(command) : nullptr) {
        fault(*this, command, bytes);
    } else {
        say(bytes);
    }
}

std::string WiredPort::bytes_of(const Answer* answer)
{
    if (answer == nullptr) {
        return "\r\nERROR\r\n";
    }
    if (answer->silent) {
        return "";
    }
    return (answer->lines.empty() ? "" : "\r\n" + answer->lines + "\r\n") + "\r\n" + answer->final_line +
           "\r\n";
}
