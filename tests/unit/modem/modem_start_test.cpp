#include "modem_fixture.hpp"

#include <algorithm>
#include <thread>

using namespace std::chrono_literals;

namespace {

class SaraStart : public ModemFixture {};

class TobyStart : public ModemFixture {
protected:
    TobyStart() : ModemFixture(ScriptedPort::Family::TOBY) {}
};

/// Whether the commands were sent in this order, others between them.
bool sent_in_order(const std::vector<std::string>& sent, const std::vector<std::string>& wanted)
{
    auto at = sent.begin();
    return std::all_of(wanted.begin(), wanted.end(), [&](const auto& command) {
        at = std::find(at, sent.end(), command);
        return at != sent.end();
    });
}

} // namespace

TEST_F(SaraStart, ConnectsASetUpModuleWithoutAReset)
{
    run_until(State::CONNECTED);
    EXPECT_EQ(log.count("Reset counter"), 0U);
    EXPECT_EQ(level(VCC), "1\n");
    EXPECT_TRUE(sent_in_order(module.sent(), {"E0",
                                              "+GMM",
                                              "+UUSBCONF?",
                                              "+UDCONF=50",
                                              "+UGPIOC?",
                                              "+URAT?",
                                              "+CMEE=2",
                                              "+COPS=2",
                                              "+CFUN=4",
                                              "+UGPIOC=23,0,0",
                                              "+UGPIOC=24,0,1",
                                              "+CFUN=1",
                                              "+CPIN?",
                                              "+CCID",
                                              "+CREG=2",
                                              "+CGREG=2",
                                              "+UNFM=1,1",
                                              "+CGEREP=2,1",
                                              "+UREG=1",
                                              "+CMER=1,0,0,2,1",
                                              "+UCIND=2374",
                                              "+COPS=2",
                                              R"(+CGDCONT=1,"IP","internet")",
                                              R"(+UAUTHREQ=1,0,"","")",
                                              "+CPLS=1",
                                              "+CREG?",
                                              "+CGREG?",
                                              "+UREG?",
                                              "+CGACT?"}));

    backend(true);
    run_for(30s);
    const auto status = published();
    EXPECT_EQ(status.state(), pb::ModemStatus_ModemState_CONNECTED);
    EXPECT_EQ(status.operator_name(), "Home, sweet");
    EXPECT_EQ(status.location().mnc(), 1U);
    EXPECT_EQ(status.location().cell_id(), 0x01C3D4E5U);
    EXPECT_EQ(decoded<pb::ModemHardware>("system/modem/hardware")->imei(), "490154203237518");
    EXPECT_EQ(decoded<pb::ModemSimInformation>("system/modem/sim")->sim(0).iccid(), "8949010010000000017");
    EXPECT_EQ(decoded<pb::ModemRegistration>("system/modem/registration")->radio_access_technology(),
              pb::ModemRegistration_RadioAccessTechnology_UTRAN);
    EXPECT_EQ(signal("rt/system/modem_creg"), 1);
}

TEST_F(SaraStart, ReconfiguresAFreshModuleWithOneReset)
{
    module.answers("+UUSBCONF?", "+UUSBCONF: 0,\"\"");
    module.fails("+URAT?", "+CME ERROR: operation not allowed");
    module.on("+UUSBCONF=2", [this] { module.answers("+UUSBCONF?", "+UUSBCONF: 2"); });
    module.on("+URAT=1,2", [this] { module.answers("+URAT?", "+URAT: 1,2"); });
    run_until(State::CONNECTED);
    EXPECT_EQ(log.count("Reset counter: 1/10"), 1U);
    EXPECT_EQ(log.count("Reset counter"), 1U);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE);
}

TEST_F(TobyStart, SetsUpAnewAfterTheSelectionHasRestartedTheModule)
{
    module.answers("+CREG?", "+CREG: 2,0"); // an EPS-only subscription
    run_until(State::CONNECTED);
    EXPECT_EQ(module.count("+CFUN=15"), 1U);
    EXPECT_EQ(module.count("+GMM"), 2U);
    EXPECT_EQ(module.count("+CEREG=3"), 1U);
    EXPECT_EQ(log.count("Reset counter"), 0U);
    run_for(5min);
    EXPECT_EQ(state(), State::CONNECTED);
}

TEST_F(TobyStart, FollowsTheSimLockInputInAConnection)
{
    run_until(State::CONNECTED);
    run_for(30s);
    module.forget();
    pin(SIM_LOCK, "0", "in");
    run_for(2s);
    EXPECT_EQ(module.count("+UGPIOC=22,0,1"), 1U);
    run_until(State::CONNECTED);
    EXPECT_EQ(module.count("+CFUN=15"), 1U);
    EXPECT_EQ(log.count("Reset counter"), 0U);
    EXPECT_EQ(published().active_sim(), pb::SIM_EXTERNAL);
}

TEST_F(SaraStart, FallsBackToTheInternalSimForWantOfACard)
{
    pin(SIM_LOCK, "0", "in");
    module.answers("+UGPIOR=42", "+UGPIO: 42,0"); // nothing in the holder
    run_until(State::CONNECTED);
    run_for(1min);
    EXPECT_EQ(module.count("+UGPIOC=23,0,1"), 1U);
    EXPECT_EQ(module.count("+UGPIOC=23,0,0"), 1U); // and stays there
    EXPECT_EQ(published().active_sim(), pb::SIM_INTERNAL);
}

TEST_F(SaraStart, ReportsAHardwareErrorOnceThePortHasStayedAwayFiveTimes)
{
    module.present(false);
    run_for(50s);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE);
    EXPECT_EQ(log.count("AT port never became available after 45 retries!"), 1U);
    bus::set_outage(true);
    run_for(4min);
    EXPECT_EQ(state(), State::WAITING_FOR_ATPORT);
    EXPECT_TRUE(
        log.contains(LogCapture::Level::ERROR, "Unable to publish on rt/system/status_modem_module_error"));
    bus::set_outage(false);
    run_for(3s);
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
    EXPECT_EQ(signal("rt/system/status_modem_module_error"), 1);
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_FAILED);
    EXPECT_EQ(level(VCC), "1\n");
    blackout({1});
    run_for(5s);
    EXPECT_EQ(level(VCC), "0\n");
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
}

TEST_F(SaraStart, ResetsForAConfigurationThatFailsAndEndsOffAfterTenInARow)
{
    module.fails("+UCIND=2374", "+CME ERROR: operation not supported");
    modem().run(Action::RUN); // ends by itself
    EXPECT_TRUE(log.contains(
        LogCapture::Level::ERROR,
        "Configuration error (4): '+UCIND=2374' message: '+CME ERROR: operation not supported'"));
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_CONFIGURATION_ERROR);
    EXPECT_EQ(log.count("Reset counter"), 9U);
    EXPECT_EQ(log.count("Max reset counter (10/10)"), 1U);
    EXPECT_EQ(level(VCC), "0\n");
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_DISABLED); // nothing claims a connection
}

TEST_F(SaraStart, ResetsAfterFiveVainContextSetUps)
{
    module.fails(R"(+CGDCONT=1,"IP","internet")", "ERROR");
    run_for(3min);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR);
    EXPECT_GE(log.count("after 5 times in a roll"), 1U);
}

TEST_F(SaraStart, ConfigureEndsInConfiguredWhateverTheNetworkSays)
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

TEST_F(SaraStart, InitAndConnectEndAtTheirStates)
{
    modem().run(Action::INIT);
    EXPECT_EQ(state(), State::INITIALIZED);
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_ENABLED); // it is on, and left so
    modem().run(Action::CONNECT);
    EXPECT_EQ(state(), State::CONNECTED);
    EXPECT_EQ(log.count("No BE connection"), 0U);
}

TEST_F(SaraStart, PoweroffNeverSwitchesOnAndAStopBeforeTheRunCounts)
{
    clock.at(1h, [this] { modem().stop(); });
    modem().run(Action::POWER_OFF);
    EXPECT_EQ(state(), State::OFF);
    EXPECT_TRUE(module.sent().empty());
    modem().run(Action::RUN); // the stop request is not forgotten
    EXPECT_TRUE(module.sent().empty());
}

TEST_F(SaraStart, StopsFromAConnectionWithTheModuleOffAndTheLastStateOnTheBus)
{
    run_until(State::CONNECTED);
    module.forget();
    modem().stop();
    modem().run(Action::RUN);
    EXPECT_EQ(module.count("+CPWROFF"), 1U);
    EXPECT_EQ(level(VCC), "0\n");
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_DISABLED);
    EXPECT_TRUE(log.contains(LogCapture::Level::NOTICE, "celld will be stopped ..."));
}

class StopAtStart : public SaraStart, public ::testing::WithParamInterface<const char*> {};

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

TEST_F(SaraStart, RefusesArgumentsThatCouldSmuggleACommand)
{
    settings->set("sim.internal.apn", "internet\",\"x");
    settings->set("sim.external.pin", "12\r\nATD1");
    root.write("/etc/vexa/system_parameters.conf", "8231 = \"fallback\"\n");
    module.answers(R"(+CGDCONT=1,"IP","fallback")", "");
    run_until(State::CONNECTED);
    EXPECT_TRUE(log.contains(LogCapture::Level::ERROR, "'sim.internal.apn'"));
    EXPECT_TRUE(log.contains(LogCapture::Level::ERROR, "'sim.external.pin'"));
}

TEST_F(SaraStart, StaysOffWhileTheUnitSaysSoAndStartsWhenItNoLongerDoes)
{
    root.write("/etc/vexa/ecu_variables.conf", "hwvariant = RMX1\nmodemtype = SARA\nhasintsim = true\n"
                                               "hasextsim = true\ndivantenna = NONE\nhwversion = qbx\n");
    run_for(30s); // parameter 41060 is absent
    EXPECT_EQ(state(), State::OFF);
    root.write("/etc/vexa/system_parameters.conf", "41060 = 1\n");
    run_until(State::CONNECTED);
}

TEST_F(SaraStart, GivesASlowCardThreeLooksAndGoesOnWithoutAReset)
{
    module.fails("+CPIN?", "+CME ERROR: SIM busy");
    module.on("+CREG=2", [this] {
        EXPECT_EQ(module.count("+CPIN?"), 3U);
        module.answers("+CPIN?", "+CPIN: READY");
    });
    run_until(State::CONNECTED);
    EXPECT_EQ(log.count("Reset counter"), 0U);
}
