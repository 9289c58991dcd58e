#include "modem_fixture.hpp"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

class Faults : public ModemFixture {};

class TobyFaults : public ModemFixture {
protected:
    TobyFaults() : ModemFixture(ScriptedPort::Family::TOBY) {}
};

} // namespace

TEST_F(Faults, APortThatWentAwayIsOpenedAnewWithoutAReset)
{
    run_until(State::CONNECTED);
    module.forget();
    module.present(false);
    clock.at(20s, [this] { module.present(true); });
    run_for(3s);
    EXPECT_EQ(state(), State::WAITING_FOR_ATPORT);
    run_until(State::CONNECTED);
    EXPECT_EQ(module.count("+CREG=2"), 1U); // the module may have forgotten its reports
    EXPECT_EQ(module.count("+CPIN?"), 1U);  // and its PIN
    EXPECT_EQ(log.count("Reset counter"), 0U);
}

TEST_F(Faults, APortWhoseLoopEndedIsLostAlthoughItsNodeIsThere)
{
    run_until(State::CONNECTED);
    module.loop_ended();
    run_for(3s);
    EXPECT_EQ(log.count("Moving to AT_PORT_LOST state"), 1U);
    run_until(State::CONNECTED);
}

TEST_F(Faults, ASilentModuleIsReset)
{
    run_until(State::CONNECTED);
    for (const char* command :
         {"+CREG?", "+CGREG?", "+UREG?", "+CGACT?", "+UDOPN=0", "+UDOPN=2", "+UDOPN=7", "+CCLK?"}) {
        module.is_silent(command);
    }
    run_for(5min);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_AT_PORT_TIMEOUT);
}

TEST_F(Faults, WriteErrorsResetTheModule)
{
    run_until(State::CONNECTED);
    module.write_error = true;
    run_for(3s);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_AT_PORT_WRITE_ERROR);
}

TEST_F(Faults, ABackOffIsLeftWhenThePortIsLostMeanwhile)
{
    run_until(State::CONNECTED);
    module.urc("+UUNFM: 0,3600");
    run_for(5s);
    ASSERT_EQ(state(), State::BACKOFF);
    module.loop_ended();
    run_for(20s);
    run_until(State::CONNECTED);
    EXPECT_EQ(log.count("Reset counter"), 0U);
}

TEST_F(Faults, SimErrorsResetFourTimesThenReportTheHardware)
{
    module.fails("+CPIN?", "+CME ERROR: SIM failure");
    run_for(10min);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_SIM_ERROR);
    EXPECT_EQ(log.count("Resetting the Modem due to SIM Card communication retrial"), 5U);
    EXPECT_EQ(log.count("Reset counter"), 4U);
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
    EXPECT_EQ(signal("rt/system/status_modem_module_error"), 1);
}

TEST_F(Faults, AHardwareErrorIsOwedUntilTheBusTakesIt)
{
    module.fails("+CPIN?", "+CME ERROR: SIM failure");
    while (log.count("Resetting the Modem due to SIM") < 4) {
        step();
    }
    bus::set_outage(true);
    while (log.count("Unable to publish on rt/system/status_modem_module_error") == 0) {
        step();
    }
    module.answers("+UPINCNT", "+UPINCNT: 1,3,10,10");
    module.answers("+CPIN?", "+CPIN: SIM PIN"); // no more errors of the card that would report it anew
    run_for(5s);
    EXPECT_NE(state(), State::DTC_HW_ERROR);
    bus::set_outage(false);
    run_for(5s);
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
}

TEST_F(Faults, ASelectionThatKeepsFailingEndsInAReset)
{
    module.fails("+CFUN=4", "ERROR");
    run_for(3min);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_SIM_ERROR);
}

TEST_F(Faults, AConnectionForgivesEarlierResets)
{
    run_until(State::CONNECTED);
    for (int round = 0; round < 12; ++round) { // more than the limit of ten
        module.write_error = true;
        run_for(3s);
        module.write_error = false;
        run_until(State::CONNECTED);
    }
    EXPECT_EQ(log.count("Reset counter: 1/10"), 12U);
}

TEST_F(Faults, ABouncingSimContactHoldsNobody)
{
    run_until(State::WAITING_FOR_SIM);
    module.is_silent("+CPIN?");
    module.on("+CPIN?", [this] { module.urc("+CIEV: 12,1"); }); // another one for every question
    module.forget();
    modem().process_urc_queue();
    for (int i = 0; i < 100; ++i) {
        module.urc("+CIEV: 12,1");
    }
    module.forget();
    step();
    EXPECT_LE(module.count("+CPIN?"), 2U); // one for the contact, one for the state
}

TEST_F(TobyFaults, WithoutASimItIsResetAndReportedInsteadOfGoingRound)
{
    module.fails("+CPIN?", "+CME ERROR: SIM not inserted");
    run_for(20min);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_SIM_ERROR);
    EXPECT_EQ(log.count("Reset counter"), 4U);
    EXPECT_EQ(log.count("not allowed!"), 0U);
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
    bus::settle(5s);
    EXPECT_EQ(bus::count("rt/system/status_modem_module_error"), 1U);
}

TEST_F(Faults, GarbageReportsChangeNothing)
{
    run_until(State::CONNECTED);
    for (const char* line : {"+CREG: ", "+CREG: x,y", "+CGREG: 99999999999999", "+CIEV: 2", "+CIEV: -1,-1",
                             "+UUNFM: ,", "+UUNFM: 99,5", "+UREG: -7", "+CEREG: \"", "\xff\xfe: \x01"}) {
        module.urc(line);
    }
    run_for(20s);
    EXPECT_EQ(state(), State::CONNECTED);
    EXPECT_EQ(published().registration().registration_status(),
              pb::ModemRegistration_RegistrationStatus_HOME);
}

TEST_F(Faults, RunsOnWithoutGpiosAndReportsTheHardware)
{
    root.remove("/sys/class/gpio/gpio3/value");
    root.remove("/sys/class/gpio/gpio3/direction");
    root.remove("/sys/class/gpio/gpio3");
    module.present(false);
    run_for(10min);
    EXPECT_TRUE(log.contains(LogCapture::Level::ERROR, "Unable to initialize GPIOs, bailing out!"));
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
}

TEST_F(Faults, FatalSetUpEndsTheProcessWithItsMessage)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    module.fails("+GMM", "ERROR");
    EXPECT_EXIT(run_for(30s), ::testing::ExitedWithCode(1),
                "Unable to retrieve the Model Identifier \\(\\+GMM\\)");
}
