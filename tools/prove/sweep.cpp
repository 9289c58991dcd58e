#include "proof.hpp"

using namespace std::chrono_literals;

namespace {

using Family = ScriptedPort::Family;

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
    return AtCommand::exec_result(AtCommandResponse(command.command + ": ,\"\xff,-1,9999999999", "OK"));
}

Result hung_up(Unit& unit, const AtCommand&)
{
    unit.module.loop_ended();
    return port_closed();
}

Result crash(Unit& unit, const AtCommand&)
{
    unit.module.present(false);
    unit.clock.at(5s, [&unit] { unit.module.present(true); });
    return port_closed();
}

const std::vector<std::pair<Fault, const char*>> FAULTS{
    {refused, "refused"}, {unanswered, "unanswered"}, {empty, "empty"},
    {garbage, "garbage"}, {hung_up, "hang-up"},       {crash, "crash"},
};

// Ten resets with all their waits and a search that is started anew take less.
constexpr auto RECOVERY = 15min;
constexpr auto LASTING = 24h;   // ten resets, each after two search limits
constexpr auto SETTLED = 30min; // a connection that holds so long

std::string name_of(Family family)
{
    return family == Family::SARA ? "SARA" : "TOBY";
}

/// What is sent from supply off to a minute of connection.
std::vector<std::string> dialogue(Family family)
{
    Unit unit(family);
    if (!unit.connects_within(RECOVERY)) {
        throw std::runtime_error("a good module does not connect");
    }
    unit.pass_until(1min, [] { return false; });
    return unit.module.sent();
}

} // namespace

std::vector<Run> single_faults(Family family, unsigned long)
{
    std::vector<Run> runs;
    const auto commands = dialogue(family);
    for (const auto& [fault, name] : FAULTS) {
        for (std::size_t place = 0; place < commands.size(); ++place) {
            const auto what = [place, kind = fault](Unit& unit) {
                std::size_t sent = 0;
                unit.module.overruled_by([&](const AtCommand& command) {
                    return sent++ == place ? std::optional(kind(unit, command)) : std::nullopt;
                });
                unit.pass_until(RECOVERY, [&] { return sent > place; });
                unit.connects_within(RECOVERY);
                unit.module.overruled_by({});
            };
            runs.push_back({name_of(family) + ": command " + std::to_string(place) + ", AT" +
                                commands[place] + ", " + name,
                            family,
                            what,
                            {End::FATAL}});
        }
    }
    return runs;
}

std::vector<Run> lasting_faults(Family family, unsigned long)
{
    std::vector<Run> runs;
    const auto commands = dialogue(family);
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
                unit.module.overruled_by({});
            };
            runs.push_back({name_of(family) + ": AT" + command + ", " + name + " for good",
                            family,
                            what,
                            {End::FATAL, End::HARDWARE_ERROR, End::GIVEN_UP}});
        }
    }
    return runs;
}
