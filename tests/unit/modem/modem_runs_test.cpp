#include "modem_fixture.hpp"

using namespace std::chrono_literals;

// What a recorded dialogue cannot tell.

namespace {

class Runs : public ModemFixture {};

class StopAtStart : public Runs, public ::testing::WithParamInterface<const char*> {};

} // namespace

TEST_F(Runs, ConfigureEndsInConfiguredWhateverTheNetworkSays)
{
    module.on(R"(+UAUTHREQ=1,0,"","")", [this] {
        module.urc("+CREG: 1");
        module.urc("+CGREG: 1");
    });
    modem().run(Action::CONFIGURE);
    EXPECT_EQ(state(), State::CONFIGURED);
    EXPECT_EQ(module.count("+CPLS=1"), 0U);
    EXPECT_EQ(level(VCC), "1\n"); // left on
}

TEST_F(Runs, PoweroffNeverSwitchesOnAndAStopBeforeTheRunCounts)
{
    clock.at(1h, [this] { modem().stop(); });
    modem().run(Action::POWER_OFF);
    EXPECT_EQ(state(), State::OFF);
    EXPECT_TRUE(module.sent().empty());
    modem().run(Action::RUN); // the stop request is not forgotten
    EXPECT_TRUE(module.sent().empty());
}

TEST_P(StopAtStart, KeepsTheModuleOffWhileAVariableIsAwaited)
{
    root.write("/etc/vexa/ecu_variables.conf", GetParam());
    int looks = 0;
    begin([&looks] { return ++looks > 1; });
    modem().run(Action::RUN);
    EXPECT_GE(bus::count("system/modem/status"), 2U); // the first before anything was waited for
    EXPECT_EQ(state(), State::OFF);
    EXPECT_EQ(level(VCC), "0\n");
    EXPECT_TRUE(module.sent().empty());
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_DISABLED);
}

INSTANTIATE_TEST_SUITE_P(Without, StopAtStart,
                         ::testing::Values("modemtype = SARA\n", "hwvariant = QBX2\nhasintsim = true\n"));

TEST_F(Runs, RefusesArgumentsThatCouldSmuggleACommand)
{
    settings->set("sim.internal.apn", "internet\",\"x");
    settings->set("sim.external.pin", "12\r\nATD1");
    root.write("/etc/vexa/system_parameters.conf", "8231 = \"fallback\"\n");
    module.answers(R"(+CGDCONT=1,"IP","fallback")", "");
    run_until(State::CONNECTED);
    EXPECT_TRUE(log.contains(LogCapture::Level::ERROR, "'sim.internal.apn'"));
    EXPECT_TRUE(log.contains(LogCapture::Level::ERROR, "'sim.external.pin'"));
}
