#include "proof.hpp"

using namespace std::chrono_literals;

namespace {

using Family = ScriptedPort::Family;

constexpr auto CRASH = 5s;           // until the module is there again
constexpr std::size_t A_LOT = 3'000; // characters of an answer

/// What becomes of a command.
using Fault = Result (*)(Unit&, const AtCommand&);

Result port_closed()
{
    return Result::err({AtErrorCode::PortClosed, "", "PORT_CLOSED"});
}

Result refused(Unit&, const AtCommand&)
{
    return AtCommand::exec_result(AtCommandResponse("", "+CME ERROR: unknown"));
}

Result unanswered(Unit& unit, const AtCommand& command)
{
    return unit.module.unanswered(command);
}

Result empty(Unit&, const AtCommand&)
{
    return AtCommand::exec_result(AtCommandResponse("", "OK"));
}

Result garbage(Unit&, const AtCommand& command)
{
    return AtCommand::exec_result(
        AtCommandResponse(command.command + ": ,\"\xff,-1,9999999999999999999999999", "OK"));
}

Result endless(Unit&, const AtCommand& command)
{
    return AtCommand::exec_result(AtCommandResponse(command.prefix() + ": " + std::string(A_LOT, '7'), "OK"));
}

/// Right, and blanks wherever some firmware has them: no fault at all.
Result padded(Unit& unit, const AtCommand& command)
{
    std::string text;
    bool quoted = false;
    for (const char letter : unit.module.answer_to(command.command)) {
        quoted = quoted != (letter == '"');
        text += letter;
        text += !quoted && (letter == ',' || letter == ':') ? "  " : "";
    }
    return AtCommand::exec_result(AtCommandResponse(text.empty() ? text : text + ' ', "OK"));
}

Result hung_up(Unit& unit, const AtCommand&)
{
    unit.module.loop_ended();
    return port_closed();
}

Result crash(Unit& unit, const AtCommand&)
{
    unit.module.present(false);
    unit.clock.at(CRASH, [&unit] { unit.module.present(true); });
    return port_closed();
}

const std::vector<std::pair<Fault, const char*>> FAULTS{
    {refused, "refused"}, {unanswered, "unanswered"}, {empty, "empty"},     {garbage, "garbage"},
    {endless, "endless"}, {padded, "padded"},         {hung_up, "hang-up"}, {crash, "crash"},
};

// Ten resets with all their waits and a search that is started anew take less.
constexpr auto RECOVERY = 15min;
constexpr auto NOTICED = 10s;   // a lost port, a lost context
constexpr auto SILENCE = 2min;  // more than its bound
constexpr auto LASTING = 24h;   // ten resets, each after two search limits
constexpr auto SETTLED = 30min; // a connection that holds so long

/// The way of a good module, by which one with a fault is measured.
struct Road {
    std::vector<std::string> commands;            ///< from supply off to a minute of connection
    std::vector<std::chrono::milliseconds> to_go; ///< from each of them to the connection
    std::chrono::milliseconds after_reset{};      ///< from a reset to the connection
    std::chrono::milliseconds after_port_lost{};  ///< from the loss of the port
};

using Time = Clock::time_point;

std::chrono::milliseconds between(Time begin, Time end)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::max(end - begin, 0ns));
}

void must_connect(Unit& unit)
{
    if (!unit.connects_within(RECOVERY)) {
        throw std::runtime_error("a good module does not connect");
    }
}

std::chrono::milliseconds after(Family family, void (*what)(Unit&))
{
    Unit unit(family);
    must_connect(unit);
    what(unit);
    const auto begin = unit.clock.now();
    unit.pass_until(1min, [&unit] { return unit.state() != Unit::State::CONNECTED; });
    must_connect(unit);
    return between(begin, unit.clock.now());
}

Road drive(Family family)
{
    Road road;
    Unit unit(family);
    std::vector<Time> times;
    unit.module.overruled_by([&](const AtCommand&) {
        times.push_back(unit.clock.now());
        return std::nullopt;
    });
    must_connect(unit);
    const auto there = unit.clock.now();
    unit.pass_for(1min);
    road.commands = unit.module.sent();
    for (const auto time : times) {
        road.to_go.push_back(between(time, there));
    }
    road.after_reset = after(family, [](Unit& connected) {
        connected.modem().prepare_reset(pb::ModemStatus_ModemResetReason_SIM_ERROR);
    });
    road.after_port_lost = after(family, [](Unit& connected) { connected.module.loop_ended(); });
    return road;
}

const Road& road_of(Family family)
{
    static const Road SARA = drive(Family::SARA);
    static const Road TOBY = drive(Family::TOBY);
    return family == Family::SARA ? SARA : TOBY;
}

/// What the fixed waits came to: the time-out, the module's own absence, and the way from where it had to
/// begin anew.
std::chrono::milliseconds waits(const Road& road, std::size_t place, const Fault& fault, const Unit& unit,
                                std::chrono::milliseconds fault_took)
{
    const auto own = fault_took + (fault == crash ? CRASH : 0s);
    if (const auto resets = unit.watch.resets(); resets > 0) {
        return own + static_cast<int>(resets) * road.after_reset;
    }
    const bool port_lost = fault == hung_up || fault == crash;
    return own + std::max(road.to_go[place], port_lost ? road.after_port_lost : 0ms);
}

void fail_once(const Road& road, std::size_t place, Fault fault, Unit& unit)
{
    std::size_t sent = 0;
    Time failed;
    std::chrono::milliseconds fault_took{};
    unit.module.overruled_by([&](const AtCommand& command) -> std::optional<Result> {
        if (sent++ != place) {
            return std::nullopt;
        }
        failed = unit.clock.now();
        auto result = fault(unit, command);
        fault_took = between(failed, unit.clock.now());
        return result;
    });
    unit.pass_until(RECOVERY, [&] { return sent > place; });
    const bool was_connected = unit.state() == Unit::State::CONNECTED;
    const bool held =
        was_connected && !unit.pass_until(NOTICED, [&] { return unit.state() != Unit::State::CONNECTED; });
    unit.connects_within(RECOVERY);
    unit.module.overruled_by({});
    unit.recovery = {true, held, held ? 0ms : between(failed, unit.clock.now()),
                     waits(road, place, fault, unit, fault_took)};
    if (took_too_long(unit.recovery)) {
        unit.watch.breaks("recovery", std::to_string(unit.recovery.took / 1s) +
                                          " s to a connection in place of " +
                                          std::to_string(unit.recovery.waits / 1s) + " s");
    }
}

/// In which the order of radio silence comes, and what becomes of the command and the broker then.
struct Moment {
    const char* name;
    std::optional<Result> (*what)(Unit&, const AtCommand&);
};

const std::vector<Moment> MOMENTS{
    {"answered", [](Unit&, const AtCommand&) { return std::optional<Result>(); }},
    {"unanswered",
     [](Unit& unit, const AtCommand& command) { return std::optional(unit.module.unanswered(command)); }},
    {"unanswered, broker lost",
     [](Unit& unit, const AtCommand& command) {
         bus::set_outage(true);
         return std::optional(unit.module.unanswered(command));
     }},
    {"crash", [](Unit& unit, const AtCommand& command) { return std::optional(crash(unit, command)); }},
    {"over at once",
     [](Unit& unit, const AtCommand&) {
         unit.blackout(false);
         return std::optional<Result>();
     }},
};

void be_silent(std::size_t place, const Moment& moment, Unit& unit)
{
    std::size_t sent = 0;
    unit.module.overruled_by([&](const AtCommand& command) -> std::optional<Result> {
        if (sent++ != place) {
            return std::nullopt;
        }
        unit.blackout(true);
        return moment.what(unit, command);
    });
    unit.pass_until(RECOVERY, [&] { return sent > place; });
    unit.pass_for(SILENCE);
    if (unit.watch.silence_ordered() && unit.state() != Unit::State::OFF) {
        throw std::runtime_error("radio silence was ordered, and it is " + Modem::state_to_str(unit.state()));
    }
    bus::set_outage(false);
    unit.blackout(false);
    unit.connects_within(RECOVERY);
    unit.module.overruled_by({});
}

/// Whatever it is, it is told on.
bool tells_who_it_is(const std::string& command)
{
    return command == "+GMI" || command == "+GMM";
}

/// Nothing may come of an answer that is right.
std::set<End> ends_of(Fault fault, const std::set<End>& ends)
{
    return fault == padded ? std::set<End>() : ends;
}

} // namespace

std::vector<Run> single_faults(Family family, unsigned long)
{
    std::vector<Run> runs;
    const auto& road = road_of(family);
    for (const auto& [fault, name] : FAULTS) {
        for (std::size_t place = 0; place < road.commands.size(); ++place) {
            const auto what = [&road, place, kind = fault](Unit& unit) {
                fail_once(road, place, kind, unit);
            };
            runs.push_back({name_of(family) + ": command " + std::to_string(place) + ", AT" +
                                road.commands[place] + ", " + name,
                            family, what, ends_of(fault, {End::FATAL})});
            runs.back().fault = fault == padded ? "" : name; // from which nothing has to be recovered
            runs.back().all_good = fault != endless || !tells_who_it_is(road.commands[place]);
        }
    }
    return runs;
}

std::vector<Run> radio_silence(Family family, unsigned long)
{
    std::vector<Run> runs;
    const auto& commands = road_of(family).commands;
    for (const auto& moment : MOMENTS) {
        for (std::size_t place = 0; place < commands.size(); ++place) {
            runs.push_back({name_of(family) + ": radio silence at command " + std::to_string(place) + ", AT" +
                                commands[place] + ", " + moment.name,
                            family,
                            [place, &moment](Unit& unit) { be_silent(place, moment, unit); },
                            {}});
        }
    }
    return runs;
}

std::vector<Run> lasting_faults(Family family, unsigned long)
{
    std::vector<Run> runs;
    const auto& commands = road_of(family).commands;
    for (const auto& [fault, name] : FAULTS) {
        for (const auto& command : std::set<std::string>(commands.begin(), commands.end())) {
            const auto what = [command, kind = fault](Unit& unit) {
                unit.module.overruled_by([&](const AtCommand& sent) {
                    return sent.command == command ? std::optional(kind(unit, sent)) : std::nullopt;
                });
                auto unsettled = unit.clock.now();
                unit.pass_until(LASTING, [&] {
                    if (unit.state() != Unit::State::CONNECTED) {
                        unsettled = unit.clock.now();
                    }
                    return unit.state() == Unit::State::DTC_HW_ERROR ||
                           unit.clock.now() - unsettled > SETTLED;
                });
                // What comes in a connection only, as the antenna's, takes it down each time: it comes back.
                if (unit.state() != Unit::State::DTC_HW_ERROR) {
                    unit.connects_within(RECOVERY);
                }
                unit.module.overruled_by({});
            };
            runs.push_back({name_of(family) + ": AT" + command + ", " + name + " for good", family, what,
                            ends_of(fault, {End::FATAL, End::HARDWARE_ERROR, End::GIVEN_UP}), false});
        }
    }
    return runs;
}
