#include "proof.hpp"

using namespace std::chrono_literals;

namespace {

using Family = Unit::Family;

constexpr auto RECOVERY = 15min;     // ten resets with all their waits take less
constexpr auto A_MINUTE = 1min;      // of connection
constexpr std::size_t A_LOT = 3'000; // characters, more than the port takes for a line

// Less than the time-out of most commands; more than that; and more than that of all.
constexpr auto LATE = 5s;
constexpr auto TOO_LATE = 25s;
constexpr auto MUCH_TOO_LATE = 200s;

constexpr auto SILENCE = 2min; // more than its bound

constexpr const char* OK = "\r\nOK\r\n";
constexpr const char* REPORT = "\r\n+CIEV: 2,3\r\n"; // a signal, which is asked for anew

/// The answer without its final line.
std::string lines_of(const std::string& bytes)
{
    return bytes.substr(0, bytes.size() - std::min(bytes.size(), std::string(OK).size()));
}

struct LineFault {
    const char* name;
    void (*what)(Unit&, const AtCommand&, const std::string& bytes);
    bool harmless = false;         ///< nothing may come of it
    bool alters = false;           ///< the answer, so that it is another one
    std::chrono::seconds over{30}; ///< what is wrong has been seen by then, and the port is in step again
};

const std::vector<LineFault> FAULTS{
    {"byte by byte",
     [](Unit& unit, const AtCommand&, const std::string& bytes) { unit.wire().say_piecemeal(bytes); }, true},
    {"a report within",
     [](Unit& unit, const AtCommand&, const std::string& bytes) {
         unit.wire().say(lines_of(bytes) + REPORT + OK);
     },
     true},
    {"echoed",
     [](Unit& unit, const AtCommand& command, const std::string& bytes) {
         unit.wire().say("AT" + command.command + "\r" + bytes);
     },
     true, true},
    {"late",
     [](Unit& unit, const AtCommand&, const std::string& bytes) { unit.wire().say_after(LATE, bytes); }},
    {"too late",
     [](Unit& unit, const AtCommand&, const std::string& bytes) { unit.wire().say_after(TOO_LATE, bytes); },
     false, false, 2 * TOO_LATE},
    {"much too late",
     [](Unit& unit, const AtCommand&, const std::string& bytes) {
         unit.wire().say_after(MUCH_TOO_LATE, bytes);
     },
     false, false, 2 * MUCH_TOO_LATE},
    {"too late, and twice",
     [](Unit& unit, const AtCommand&, const std::string& bytes) {
         unit.wire().say_after(TOO_LATE, bytes + OK + OK);
     },
     false, false, 2 * TOO_LATE},
    {"one OK too many",
     [](Unit& unit, const AtCommand&, const std::string& bytes) { unit.wire().say(bytes + OK); }},
    {"without its OK",
     [](Unit& unit, const AtCommand&, const std::string& bytes) { unit.wire().say(lines_of(bytes)); }},
    {"cut off", [](Unit& unit, const AtCommand&,
                   const std::string& bytes) { unit.wire().say(bytes.substr(0, bytes.size() / 2)); }},
    {"a line without an end",
     [](Unit& unit, const AtCommand& command, const std::string&) {
         unit.wire().say("\r\n" + command.prefix() + ": " + std::string(A_LOT, 'x'));
     },
     false, true},
    {"behind noise",
     [](Unit& unit, const AtCommand&, const std::string& bytes) {
         unit.wire().say(std::string("\0\xff\x7f\r\n\x01", 6) + bytes);
     },
     false, true},
    {"another's line in front",
     [](Unit& unit, const AtCommand&, const std::string& bytes) {
         unit.wire().say("\r\n+XYZ: 1\r\n" + bytes);
     },
     false, true},
    {"radio silence in place of it",
     [](Unit& unit, const AtCommand&, const std::string&) { unit.blackout(true); }, false, false, SILENCE},
    {"radio silence behind it",
     [](Unit& unit, const AtCommand&, const std::string& bytes) {
         unit.wire().say(bytes);
         unit.blackout(true);
     },
     false, false, SILENCE},
    {"hang-up in place of it",
     [](Unit& unit, const AtCommand&, const std::string&) { unit.wire().loop_ended(); }},
    {"hang-up within",
     [](Unit& unit, const AtCommand&, const std::string& bytes) {
         unit.wire().say_piecemeal(bytes.substr(0, bytes.size() / 2));
         unit.wire().loop_ended();
     }},
};

/// What the daemon is told belongs to what it has asked.
void check(Unit& unit, const AtCommand& command, const Result& result)
{
    if (result.is_ok() && result.unwrap().message != unit.module.answer_to(command.command)) {
        unit.watch.breaks("another's answer",
                          "AT" + command.command + " was told '" + result.unwrap().message + "'");
    }
}

/// The way of a good module.
struct Way {
    std::vector<std::string> commands; ///< from supply off to a minute of connection
    Clock::time_point connected{};
};

Way way_of(Family family)
{
    Unit unit(family, {.wired = true});
    if (!unit.connects_within(RECOVERY)) {
        throw std::runtime_error("a good module does not connect");
    }
    const auto connected = unit.clock.now();
    unit.pass_for(A_MINUTE);
    return {unit.module.sent(), connected};
}

/// Connected, or as soon as a good module is.
void must_not_matter(const Way& way, Unit& unit)
{
    const auto soon = std::max(way.connected, unit.clock.now());
    unit.connects_within(RECOVERY);
    if (unit.clock.now() > soon) {
        unit.watch.breaks("harmless", "the connection came later, or was lost");
    }
}

/// If there is any: then it is silent.
void end_silence(Unit& unit)
{
    if (unit.watch.silence_ordered() && unit.state() != Unit::State::OFF) {
        unit.watch.breaks("radio silence", "it is " + Modem::state_to_str(unit.state()));
    }
    unit.blackout(false);
}

void be_disturbed(const Way& way, std::size_t place, const LineFault& fault, Unit& unit)
{
    std::size_t heard = 0;
    std::string altered;
    unit.wire().fault([&](const AtCommand& command) -> WiredPort::Fault {
        if (heard++ != place) {
            return nullptr;
        }
        altered = fault.alters ? command.command : "(none)";
        return [&](WiredPort&, const AtCommand& asked, const std::string& bytes) {
            fault.what(unit, asked, bytes);
        };
    });
    unit.wire().on_result([&](const AtCommand& command, const Result& result) {
        if (command.command != altered) {
            check(unit, command, result);
        }
    });
    unit.pass_until(RECOVERY, [&] { return heard > place; });
    if (fault.harmless) {
        must_not_matter(way, unit);
    }
    unit.pass_for(fault.over);
    end_silence(unit);
    unit.connects_within(RECOVERY);
    unit.wire().fault({});
    unit.wire().on_result({});
}

} // namespace

std::vector<Run> faults_on_the_line(Family family, unsigned long)
{
    static const std::map<Family, Way> WAYS{{Family::SARA, way_of(Family::SARA)},
                                            {Family::TOBY, way_of(Family::TOBY)}};
    const auto& way = WAYS.at(family);
    std::vector<Run> runs;
    for (const auto& fault : FAULTS) {
        for (std::size_t place = 0; place < way.commands.size(); ++place) {
            runs.push_back({name_of(family) + ": line " + std::to_string(place) + ", AT" +
                                way.commands[place] + ", " + fault.name,
                            family,
                            [&way, &fault, place](Unit& unit) { be_disturbed(way, place, fault, unit); },
                            {}});
            if (!fault.harmless) {
                runs.back().ends = {End::FATAL};
            }
            runs.back().kind.wired = true;
        }
    }
    return runs;
}
