#include "main/watchdog.hpp"
#include "modem_fixture.hpp"
#include "support/datagrams.hpp"

#include <algorithm>
#include <thread>

using namespace std::chrono_literals;

namespace {

void environment(const char* name, const char* value)
{
    value == nullptr ? unsetenv(name) : setenv(name, value, 1); // NOLINT(concurrency-mt-unsafe): main thread
}

constexpr auto INTERVAL = 600s; // the packaged unit's
constexpr const char* INTERVAL_US = "600000000";

/// A modem whose loop shows itself to a service manager, which judges by the manual clock.
class Watched : public ModemFixture, public ::testing::WithParamInterface<ScriptedPort::Family> {
protected:
    Watched() : ModemFixture(GetParam()), manager(root.path("/notify").string())
    {
        environment("NOTIFY_SOCKET", root.path("/notify").c_str());
        environment("WATCHDOG_USEC", INTERVAL_US);
        watchdog.emplace(clock);
        module.after_command([this] {
            watchdog->command_over();
            look();
        });
        modem().each_pass([this] {
            watchdog->pass_begins();
            look();
        });
    }
    ~Watched() override
    {
        for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC"}) {
            environment(name, nullptr);
        }
    }

    void look()
    {
        for (const auto& told : manager.received()) {
            if (told == "WATCHDOG=1") {
                const auto gap = clock.now() - heard;
                shortest = heard == started ? shortest : std::min(shortest, gap);
                longest = std::max(longest, gap);
                heard = clock.now();
            }
        }
    }

    Datagrams manager;
    std::optional<Watchdog> watchdog;
    const Clock::time_point started = clock.now();
    Clock::time_point heard = started;
    Clock::time_point::duration longest{0};
    Clock::time_point::duration shortest{24h};
};

} // namespace

TEST_P(Watched, TheSlowestAnswersAndNoneAtAllAreNoStuckLoop)
{
    bool slow = true;
    std::chrono::milliseconds slowest{0};
    module.on_command([&](const AtCommand& command) { // each answer at the last moment
        if (slow) {
            slowest = std::max<std::chrono::milliseconds>(slowest, command.timeout);
            clock.advance(command.timeout - 1s);
        }
    });
    const auto deadline = clock.now() + 3h;
    while (state() != State::CONNECTED && clock.now() < deadline) {
        step();
    }
    ASSERT_EQ(state(), State::CONNECTED) << log;
    EXPECT_GE(slowest, 180s);
    run_for(1h);
    slow = false;
    module.mute(true); // until it is given up
    run_for(2h);
    EXPECT_EQ(state(), State::DTC_HW_ERROR) << log;
    blackout({1});
    run_for(1h);
    modem().stop();
    modem().run(Action::RUN);
    EXPECT_LT(longest, INTERVAL);
    EXPECT_LT(clock.now() - heard, INTERVAL);
    EXPECT_GE(shortest, INTERVAL / 4) << "told more often than is wanted";
}

TEST_P(Watched, APassThatNeverEndsIsNotShownForEverHoweverMuchItAsks)
{
    run_until(State::CONNECTED);
    step();
    const auto stuck = clock.now();
    clock.advance(INTERVAL);
    std::thread([this] { watchdog->command_over(); }).join(); // the antenna's: says nothing of the loop
    look();
    EXPECT_LE(heard, stuck);
    while (clock.now() < stuck + 3h) {
        clock.advance(10s);
        static_cast<void>(module.execute(AtCommand("+CSQ")));
    }
    EXPECT_GT(heard, stuck + Watchdog::LONGEST_PASS - INTERVAL);
    EXPECT_LE(heard, stuck + Watchdog::LONGEST_PASS);
    step();
    EXPECT_GE(heard, stuck + 3h) << "the next pass is told at once";
}

INSTANTIATE_TEST_SUITE_P(Families, Watched,
                         ::testing::Values(ScriptedPort::Family::SARA, ScriptedPort::Family::TOBY));

TEST(Watchdog, IsFedWhereItIsWantedOfThisProcess)
{
    struct Case {
        const char* interval;
        std::string process;
        bool fed;
        std::string told;
    };
    const std::string own = std::to_string(getpid());
    const TempRoot root;
    Datagrams manager(root.path("/notify").string());
    environment("NOTIFY_SOCKET", root.path("/notify").c_str());
    const std::string no_time =
        "WATCHDOG_USEC is no time: the service manager is not told that the loop goes on";
    for (const auto& [interval, process, fed, told] : std::vector<Case>{
             {nullptr, "", false, ""},
             {INTERVAL_US, "", true, ""},
             {INTERVAL_US, own + "1", false, ""},
             {"0", own, false, no_time},
             {"-1", own, false, no_time},
             {"18446744073709551615", own, false, no_time},
             {"30000000", own, true,
              "The service manager's watchdog of 30 s is shorter than a command may take"},
         }) {
        environment("WATCHDOG_USEC", interval);
        environment("WATCHDOG_PID", process.empty() ? nullptr : process.c_str());
        const LogCapture log;
        const ManualClock clock;
        Watchdog watchdog(clock);
        watchdog.pass_begins();
        EXPECT_EQ(manager.received().size(), fed ? 1U : 0U) << (interval != nullptr ? interval : "unset");
        EXPECT_EQ(log.records().size(), told.empty() ? 0U : 1U) << log;
        EXPECT_EQ(log.count(told), log.records().size()) << log;
    }

    environment("WATCHDOG_USEC", INTERVAL_US);
    manager.close(); // a manager that is being restarted
    const ManualClock clock;
    Watchdog watchdog(clock);
    watchdog.pass_begins();
    manager.open();
    watchdog.pass_begins();
    watchdog.pass_begins();
    EXPECT_EQ(manager.received().size(), 1U) << "what was not taken is told again at the next chance";
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
        environment(name, nullptr);
    }
}
