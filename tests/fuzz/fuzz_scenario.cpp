#include "base/files.hpp"
#include "scenario/scenario_player.hpp"

#include <cstdint>
#include <sstream>
#include <string>

namespace {

using namespace std::chrono_literals;

constexpr int STEPS = 20;

std::optional<std::string> known(std::string_view command)
{
    return command.empty() ? std::optional<std::string>("no command") : std::nullopt;
}

/// What can be read happens, whatever sets it off; what is said is seen again as an event.
void play(bench::Scenario scenario)
{
    bench::TimerQueue timers(bench::TimerQueue::TimePoint{});
    bench::Transcript transcript(timers);
    bench::ScenarioPlayer* running = nullptr;
    bench::ScenarioPlayer player(timers, transcript, std::move(scenario), [&](const std::string& command) {
        const std::string_view fields[] = {command, command};
        for (const auto& kind : bench::event_kinds()) {
            running->saw(kind.name, fields);
        }
        return std::string("ok");
    });
    running = &player;
    for (int step = 0; step < STEPS; ++step) {
        const std::string_view fields[] = {"VCC", "on", "written"};
        player.saw("line", fields);
        timers.advance_to(timers.now() + 1s);
    }
}

} // namespace

/// The lines of a scenario, and of a transcript that plays beside it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::istringstream text(std::string(data, data + size));
    bench::Scenario scenario;
    for (std::string line; std::getline(text, line) && scenario.size() < bench::MAX_SCENARIO_LINES;) {
        try {
            if (auto read = bench::parse_scenario_line(line, known)) {
                scenario.push_back(*std::move(read));
            }
        } catch (const bench::BenchError&) { // NOLINT(bugprone-empty-catch): told to whoever wrote it
        }
    }
    if (!scenario.empty() && scenario.front().then) {
        scenario.erase(scenario.begin()); // read_scenario refuses it
    }
    play(std::move(scenario));
    return 0;
}
