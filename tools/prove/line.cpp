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

constexpr const char* OK = "\r\nOK\r\n";
constexpr const char* REPORT = "\r\n+CIEV: 2,3\r\n"; // a signal, which is asked for anew

/// The answer without its final line.
std::string lines_of(const std::string& bytes)
{
    return bytes.substr(0, bytes.size() - std::min(bytes.size(), std::string(OK).size()));
}

struct LineFault {
    const char* name;
    void (*what)(WiredPort&, const AtCommand&, const std::string& bytes);
    bool harmless = false;         ///< nothing may come of it
    bool alters = false;           ///< the answer, so that it is another one
    std::chrono::seconds over{30}; ///< what is wrong has been seen by then, and the port is in step again
};

const std::vector<LineFault> FAULTS{
    {"byte by byte",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) { line.say_piecemeal(bytes); }, true},
    {"a report within",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) {
         line.say(lines_of(bytes) + REPORT + OK);
     },
     true},
    {"echoed",
     [](WiredPort& line, const AtCommand& command, const std::string& bytes) {
         line.say("AT" + command.command + "\r" + bytes);
     },
     true, true},
    {"late",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) { line.say_after(LATE, bytes); }},
    {"too late",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) { line.say_after(TOO_LATE, bytes); },
     false, false, 2 * TOO_LATE},
    {"much too late",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) {
         line.say_after(MUCH_TOO_LATE, bytes);
     },
     false, false, 2 * MUCH_TOO_LATE},
    {"one OK too many",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) { line.say(bytes + OK); }},
    {"without its OK",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) { line.say(lines_of(bytes)); }},
    {"cut off", [](WiredPort& line, const AtCommand&,
                   const std::string& bytes) { line.say(bytes.substr(0, bytes.size() / 2)); }},
    {"a line without an end",
     [](WiredPort& line, const AtCommand& command, const std::string&) {
         line.say("\r\n" + command.prefix() + ": " + std::string(A_LOT, 'x'));
     },
     false, true},
    {"behind noise",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) {
         line.say(std::string("\0\xff\x7f\r\n\x01", 6) + bytes);
     },
     false, true},
    {"another's line in front",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) { line.say("\r\n+XYZ: 1\r\n" + bytes); },
     false, true},
    {"hang-up in place of it",
     [](WiredPort& line, const AtCommand&, const std::string&) { line.loop_ended(); }},
    {"hang-up within",
     [](WiredPort& line, const AtCommand&, const std::string& bytes) {
         line.say_piecemeal(bytes.substr(0, bytes.size() / 2));
         line.loop_ended();
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

void be_disturbed(const Way& way, std::size_t place, const LineFault& fault, Unit& unit)
{
    std::size_t heard = 0;
    std::string altered;
    unit.wire().fault([&](const AtCommand& command) -> WiredPort::Fault {
        if (heard++ != place) {
            return nullptr;
        }
        altered = fault.alters ? command.command : "(none)";
        return fault.what;
    });
    unit.wire().on_result([&](const AtCommand& command, const Result& result) {
        if (command.command != altered) {
            check(unit, command, result);
        }
    });
    unit.pass_until(RECOVERY, [&] { return heard > place; });
    const auto disturbed = unit.clock.now();
    unit.connects_within(RECOVERY);
    if (fault.harmless && unit.clock.now() > std::max(way.connected, disturbed)) {
        unit.watch.breaks("harmless", "the connection came later, or was lost");
    }
    unit.pass_for(fault.over);
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
