#include "modem_fixture.hpp"

#include <set>
#include <tuple>

using namespace std::chrono_literals;

// A stop and radio silence overtake whatever is under way.

namespace {

using Family = ScriptedPort::Family;

struct Place {
    const char* name;
    ModemState state;
    std::function<void(ScriptedPort&)> world; // what holds the modem there
};

void registered_as(ScriptedPort& module, const char* status)
{
    module.answers("+CREG?", std::string("+CREG: 2,") + status);
    module.answers("+CGREG?", std::string("+CGREG: 2,") + status);
    module.answers("+CEREG?", std::string("+CEREG: 3,") + status);
}

const std::vector<Place> PLACES{
    {"WaitingForPort", ModemState::WAITING_FOR_ATPORT, [](auto& module) { module.present(false); }},
    {"Uninitialized", ModemState::UNINITIALIZED, nullptr},
    {"Initialized", ModemState::INITIALIZED, nullptr},
    {"WaitingForSim", ModemState::WAITING_FOR_SIM, nullptr},
    {"Registering", ModemState::REGISTERING, [](auto& module) { registered_as(module, "0"); }},
    {"Searching", ModemState::SEARCHING, [](auto& module) { registered_as(module, "2"); }},
    {"Disconnected", ModemState::DISCONNECTED, [](auto& module) { registered_as(module, "3"); }},
    {"ActivateContext", ModemState::ACTIVATE_CONTEXT,
     [](auto& module) { module.answers("+CGACT?", "+CGACT: 1,0"); }},
    {"Connected", ModemState::CONNECTED, nullptr},
    {"Backoff", ModemState::BACKOFF, [](auto& module) { module.urc("+UUNFM: 0,3600"); }},
    {"PortLost", ModemState::AT_PORT_LOST, [](auto& module) { module.loop_ended(); }},
    {"Reset", ModemState::RESET, nullptr},
    {"HardwareError", ModemState::DTC_HW_ERROR, nullptr},
};

class Overtaken : public ModemFixture, public ::testing::WithParamInterface<std::tuple<Family, std::size_t>> {
protected:
    Overtaken() : ModemFixture(std::get<0>(GetParam())) {}

    const Place& place() const { return PLACES[std::get<1>(GetParam())]; }

    /// In the place, with a module that answers.
    void be_there()
    {
        static const std::set<State> OUT_OF_A_CONNECTION{State::BACKOFF, State::AT_PORT_LOST, State::RESET,
                                                         State::DTC_HW_ERROR};
        const bool connected = OUT_OF_A_CONNECTION.contains(place().state);
        if (!connected && place().world) {
            place().world(module);
        }
        run_until(connected ? State::CONNECTED : place().state);
        if (place().state == State::RESET) {
            modem().prepare_reset(pb::ModemStatus_ModemResetReason_SIM_ERROR);
        } else if (place().state == State::DTC_HW_ERROR) {
            modem().set_internal_hw_error_dtc();
        } else if (connected) {
            place().world(module);
            step();
        }
        ASSERT_EQ(state(), place().state);
    }
    /// In the place, with a module that has just stopped answering and does not go when it is told.
    void hang_there()
    {
        be_there();
        pin(VINT, "0", "in");
        module.mute(true);
        module.forget();
    }
    /// Told with the test's result: the figures of docs/bus.md and of a release's notes.
    void record(const char* what, Clock::time_point::duration time)
    {
        RecordProperty(what, static_cast<int>(std::chrono::ceil<std::chrono::seconds>(time).count()));
    }
    /// The longest time without a status on the bus, while `while_true` holds.
    Clock::time_point::duration longest_silence(const std::function<bool()>& while_true)
    {
        Clock::time_point::duration longest{0};
        auto last = clock.now();
        auto count = bus::count("system/modem/status");
        while (while_true()) {
            step();
            longest = std::max(longest, clock.now() - last);
            if (const auto now = bus::count("system/modem/status"); now != count) {
                count = now;
                last = clock.now();
            }
        }
        return longest;
    }

    /// What the family needs to power off a module that hangs: +CPWROFF, then waiting for port or VINT.
    std::chrono::seconds sequence() const { return std::get<0>(GetParam()) == Family::SARA ? 52s : 77s; }
};

constexpr std::chrono::milliseconds MOMENTS[] = {0ms, 700ms, 12'300ms, 95s};

} // namespace

TEST_P(Overtaken, AStopEndsTheRunWithinThePowerOffSequenceAndFiveSeconds)
{
    hang_there();
    auto asked = clock.now();
    clock.at(MOMENTS[std::get<1>(GetParam()) % std::size(MOMENTS)], [&] {
        asked = clock.now();
        modem().stop();
    });
    modem().run(Action::RUN);
    record("stop", clock.now() - asked);
    EXPECT_LE(clock.now() - asked, sequence() + 5s) << log;
    EXPECT_EQ(level(VCC), "0\n");
    EXPECT_EQ(state(), State::OFF);
}

TEST_P(Overtaken, RadioSilenceTakesTheSupplyWithinThePowerOffSequenceAndTwoSeconds)
{
    Clock::time_point::duration longest{0};
    for (const auto moment : MOMENTS) {
        module.mute(false);
        module.present(true);
        registered_as(module, R"(1,"1A2B","01C3D4E5",2)");
        module.answers("+CGACT?", "+CGACT: 1,1");
        hang_there();
        if (::testing::Test::HasFatalFailure()) {
            return;
        }
        std::optional<Clock::time_point> asked;
        clock.at(moment, [&] {
            asked = clock.now();
            blackout({1});
        });
        while (!asked || level(VCC) != "0\n") {
            step();
            ASSERT_LE(clock.now() - asked.value_or(clock.now()), 10min);
        }
        record("silence", longest = std::max(longest, clock.now() - *asked));
        EXPECT_LE(clock.now() - *asked, sequence() + 2s) << moment.count() << " ms";
        if (state() == State::DTC_HW_ERROR) {
            return; // for good: the place, or where a module that is mute for long has gone
        }
        run_for(1min);
        EXPECT_EQ(state(), State::OFF);
        blackout({0});
    }
}

TEST_P(Overtaken, NothingIsWaitedForOnceAStopIsWanted)
{
    hang_there();
    modem().stop(); // behind the loop's look at it, before the pass
    const auto begin = clock.now();
    const auto wanted = modem().pass();
    modem().rest(wanted);
    EXPECT_LE(clock.now() - begin, sequence()); // that of a reset, where one is due; else nothing
    if (row_of(place().state).traits.port_owed) {
        EXPECT_EQ(clock.now(), begin);
    }
}

TEST_P(Overtaken, AModuleThatStopsAnsweringIsResetWithinThreeMinutesOfTheFirstTimeOut)
{
    hang_there();
    std::optional<Clock::time_point> first;
    const auto silence = longest_silence([&] {
        const bool asked = !first && module.sent().size() > 0;
        if (asked) {
            first = clock.now(); // late: the pass has had more time-outs than one
        }
        EXPECT_LE(clock.now() - first.value_or(clock.now()), 3min);
        return row_of(state()).traits.port_owed && !HasFailure();
    });
    record("reset", clock.now() - first.value_or(clock.now()));
    record("late_with_a_hung_module", silence);
    EXPECT_LE(silence, 4min + 5s); // a search that is started or stopped takes three of them
    EXPECT_TRUE(state() == State::RESET || !row_of(place().state).traits.port_owed)
        << Modem::state_to_str(state());
}

TEST_P(Overtaken, AStatusIsNotLateWhileTheModuleAnswers)
{
    be_there();
    const auto end = clock.now() + 3min;
    const auto silence = longest_silence([&] { return clock.now() < end; });
    record("late", silence);
    EXPECT_LE(silence, 15s);
}

INSTANTIATE_TEST_SUITE_P(Everywhere, Overtaken,
                         ::testing::Combine(::testing::Values(Family::SARA, Family::TOBY),
                                            ::testing::Range<std::size_t>(0, PLACES.size())),
                         [](const auto& instance) {
                             return std::string(std::get<0>(instance.param) == Family::SARA ? "Sara"
                                                                                            : "Toby") +
                                    PLACES[std::get<1>(instance.param)].name;
                         });
