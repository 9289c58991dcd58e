#include "proof.hpp"

using namespace std::chrono_literals;

namespace {

using Family = ScriptedPort::Family;
using Fault = ScriptedPort::Fault;

const std::vector<std::pair<Fault, const char*>> FAULTS{
    {Fault::REFUSED, "refused"}, {Fault::UNANSWERED, "unanswered"}, {Fault::EMPTY, "empty"},
    {Fault::GARBAGE, "garbage"}, {Fault::HANG_UP, "hang-up"},       {Fault::CRASH, "crash"},
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
                unit.module.faults([&sent, place, kind](const std::string&) {
                    return sent++ == place ? std::optional(kind) : std::nullopt;
                });
                unit.pass_until(RECOVERY, [&] { return sent > place; });
                unit.connects_within(RECOVERY);
                unit.module.faults({});
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
                unit.module.faults([&](const std::string& sent) {
                    return sent == command ? std::optional(kind) : std::nullopt;
                });
                auto unsettled = unit.clock.now();
                unit.pass_until(LASTING, [&] {
                    if (unit.state() != Unit::State::CONNECTED) {
                        unsettled = unit.clock.now();
                    }
                    return unit.state() == Unit::State::DTC_HW_ERROR ||
                           unit.clock.now() - unsettled > SETTLED;
                });
                unit.module.faults({});
            };
            runs.push_back({name_of(family) + ": AT" + command + ", " + name + " for good",
                            family,
                            what,
                            {End::FATAL, End::HARDWARE_ERROR, End::GIVEN_UP}});
        }
    }
    return runs;
}
