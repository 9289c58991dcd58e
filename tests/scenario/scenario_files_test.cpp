#include "scenario/rig.hpp"

#include <ostream>

namespace {

using testing::HasSubstr;
using testing::Not;

/// A scenario file, who it is for, and the state in which the unit is when all has happened.
struct Day {
    const char* file;
    std::vector<std::string> module{};
    pb::ModemStatus_ModemState end = pb::ModemStatus_ModemState_CONNECTED;
    std::string board = "qbx";

    friend void PrintTo(const Day& day, std::ostream* out) { *out << day.file; }
};

class ScenarioFile : public Rig, public testing::WithParamInterface<Day> {};

TEST_P(ScenarioFile, EndsAsItSays)
{
    Unit unit{
        .board = GetParam().board, .module = GetParam().module, .settings = "sim.external.pin = 5193\n"};
    unit.module.push_back(std::string("--scenario=") + SCENARIO_FILES + "/" + GetParam().file + ".scn");
    plug(unit);
    start_broker();
    start_celld();
    const bool connects = GetParam().end == CONNECTED;
    if (connects) {
        await_state(CONNECTED);
    }
    const auto at_first = threads_and_descriptors();
    await("the end of the scenario",
          [this] { return sim("state").find(" scenario_left=0 ") != std::string::npos; });
    bus().skip_statuses();
    await_state(GetParam().end);
    if (connects) {
        await("threads and descriptors as at first", [&] { return threads_and_descriptors() == at_first; });
    }
    EXPECT_THAT(root().read("/sim.log"), Not(HasSubstr("celld-sim: scenario"))) << "a command failed";
    EXPECT_EQ(terminate(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    All, ScenarioFile,
    testing::Values(Day{"commuter"}, Day{"firmware"}, Day{.file = "sim", .module = {"--simlock=0"}},
                    Day{.file = "board", .module = {"--family=toby"}, .board = "k7"},
                    Day{.file = "dead-supply", .end = pb::ModemStatus_ModemState_FAILED}),
    [](const auto& test) {
        std::string name = test.param.file;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

} // namespace
