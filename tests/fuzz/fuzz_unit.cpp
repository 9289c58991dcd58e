#include "events.hpp"
#include "modem/persistent_settings.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr int MOST_STEPS = 40;
constexpr auto RECOVERY = 2h; // of anything: two search limits, ten resets, back-off

/// The bytes, one after the other; zeros behind them.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

    bool empty() const { return next_ == end_; }
    unsigned byte() { return empty() ? 0U : *next_++; }
    /// A text with its length in front.
    std::string text()
    {
        std::string text;
        for (auto length = byte() % 64; length > 0; --length) {
            text += static_cast<char>(byte());
        }
        return text;
    }

private:
    const std::uint8_t* next_;
    const std::uint8_t* end_;
};

/// What becomes of the next command.
Result fate(unsigned kind, const std::string& text, Unit& unit, const AtCommand& command)
{
    switch (kind % 4) {
    case 0:
        return unit.module.unanswered(command);
    case 1:
        return AtCommand::exec_result(AtCommandResponse("", "+CME ERROR: " + text));
    case 2:
        unit.module.loop_ended();
        return Result::err({AtErrorCode::PortClosed, "", "PORT_CLOSED"});
    default:
        return AtCommand::exec_result(AtCommandResponse(text, "OK"));
    }
}

/// Likewise on the line, where the text may stand in front of the answer.
void fate_on_the_line(unsigned kind, const std::string& text, WiredPort& line, const std::string& bytes)
{
    switch (kind % 4) {
    case 0:
        return;
    case 1:
        line.say("\r\n" + text + bytes);
        return;
    case 2:
        line.say_piecemeal(bytes.substr(0, bytes.size() / 2));
        line.loop_ended();
        return;
    default:
        line.say("\r\n" + text + "\r\n\r\nOK\r\n");
    }
}

void with_next_command(Unit& unit, unsigned kind, const std::string& text)
{
    bool due = true;
    if (auto* const line = dynamic_cast<WiredPort*>(&unit.module)) {
        line->fault([kind, text, due](const AtCommand&) mutable -> WiredPort::Fault {
            if (!std::exchange(due, false)) {
                return nullptr;
            }
            return [kind, text](WiredPort& on, const AtCommand&, const std::string& bytes) {
                fate_on_the_line(kind, text, on, bytes);
            };
        });
        return;
    }
    unit.module.overruled_by([&unit, kind, text, due](const AtCommand& command) mutable {
        return std::exchange(due, false) ? std::optional(fate(kind, text, unit, command)) : std::nullopt;
    });
}

void bus_says(Unit& unit, const char* topic, const std::string& bytes)
{
    unit.modem().message(topic, ecu::kova::com::Message({bytes.begin(), bytes.end()}));
}

void step(Bytes& bytes, Unit& unit)
{
    static const auto EVENTS = passing_events();
    const auto what = bytes.byte();
    switch (what % 8) {
    case 0:
    case 1:
        EVENTS[bytes.byte() % EVENTS.size()].happens(unit);
        break;
    case 2:
        with_next_command(unit, what / 8, bytes.text());
        break;
    case 3:
        unit.module.urc(bytes.text());
        break;
    case 4:
        bus_says(unit, (what & 8) != 0 ? "be/status" : "rt/system/blackout_mode", bytes.text());
        break;
    case 5:
        unit.step();
        break;
    default:
        unit.pass_for(std::chrono::seconds(bytes.byte()));
    }
}

/// How it may end, and what must hold on the way.
void judge(Unit& unit)
{
    for (const auto& broken : unit.watch.broken()) {
        std::fprintf(stderr, "%s\n", broken.c_str());
    }
    if (unit.end() == End::ELSEWHERE) {
        std::fprintf(stderr, "in %s\n", Modem::state_to_str(unit.state()).c_str());
    }
    if (unit.end() == End::ELSEWHERE || !unit.watch.broken().empty()) {
        std::fprintf(stderr, "%s", unit.watch.story().c_str());
        std::abort();
    }
}

} // namespace

/// A whole unit for which the bytes play module, bus and time; then the world is good. The first byte chooses
/// the family, and whether its port is the daemon's own.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Bytes bytes(data, size);
    try {
        const auto kind = bytes.byte();
        Unit unit((kind & 1) == 0 ? Unit::Family::SARA : Unit::Family::TOBY, {.wired = (kind & 2) != 0});
        for (int steps = 0; steps < MOST_STEPS && !bytes.empty() && !unit.left; ++steps) {
            step(bytes, unit);
        }
        unit.module.overruled_by({});
        if (auto* const line = dynamic_cast<WiredPort*>(&unit.module)) {
            line->fault({});
        }
        all_is_good(unit);
        unit.pass_until(RECOVERY, [&unit] {
            return unit.state() == Unit::State::CONNECTED || unit.state() == Unit::State::DTC_HW_ERROR;
        });
        judge(unit);
    } catch (const SetUpImpossible&) { // NOLINT(bugprone-empty-catch): a stated end
    }
    return 0;
}
