#include "modem_fixture.hpp"

using namespace std::chrono_literals;

namespace {

class Network : public ModemFixture {
protected:
    void registration(int status)
    {
        module.answers("+CREG?", "+CREG: 2," + std::to_string(status));
        module.answers("+CGREG?", "+CGREG: 2," + std::to_string(status));
    }
    void context(bool active) { module.answers("+CGACT?", active ? "+CGACT: 1,1" : "+CGACT: 1,0"); }
    std::string level_of_supply() const { return level(VCC); }
};

struct Stuck {
    const char* name;
    int status;
    ModemState state;
};

class StuckNetwork : public Network, public ::testing::WithParamInterface<Stuck> {};

} // namespace

TEST_P(StuckNetwork, ResetsTheModuleAfterHalfAnHour)
{
    registration(GetParam().status);
    run_until(GetParam().state);
    run_for(29min);
    EXPECT_EQ(log.count("Reset counter"), 0U);
    EXPECT_GE(module.count("+COPS=2"), 12U); // every two minutes the search starts anew
    run_for(6min);                           // each restarted search rests five seconds more
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_NETWORK_SEARCH_TIMEOUT);
    EXPECT_EQ(log.count("Reset counter: 1/10"), 1U);
}

INSTANTIATE_TEST_SUITE_P(InEverySearchingState, StuckNetwork,
                         ::testing::Values(Stuck{"Registering", 0, ModemState::REGISTERING},
                                           Stuck{"Searching", 2, ModemState::SEARCHING},
                                           Stuck{"Disconnected", 3, ModemState::DISCONNECTED}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(Network, ResetsAtOnceWhenTheSearchCannotBeStopped)
{
    registration(0);
    run_until(State::REGISTERING);
    module.fails("+COPS=2", "+CME ERROR: operation not allowed");
    run_for(2min + 5s);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_NETWORK_SEARCH_TIMEOUT);
}

TEST_F(Network, StartsASearchThatIsNotActive)
{
    registration(2);
    module.answers("+COPS?", "+COPS: 2");
    module.on("+COPS=0", [this] { module.answers("+COPS?", "+COPS: 0"); });
    run_until(State::SEARCHING);
    EXPECT_GE(module.count("+COPS=0"), 1U);
}

TEST_F(Network, RegistersAnewAfterTwentyFailuresAndResetsAfterFiveOfThose)
{
    context(false);
    module.fails("+UCEDATA=1,0", "+CME ERROR: unknown");
    run_until(State::REGISTERED);
    run_for(42s);
    EXPECT_EQ(log.count("Other context activation failure after 20 retries"), 1U);
    run_for(6min);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR);
}

TEST_F(Network, BusyDataPathRestsAndIsGivenUpInTheEnd)
{
    context(false);
    module.fails("+UCEDATA=1,0", "+CME ERROR: CDC-ECM is busy");
    run_until(State::REGISTERED);
    module.forget();
    run_for(10s);
    EXPECT_LE(module.count("+UCEDATA=1,0"), 6U);
    run_for(15min);
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR);
}

TEST_F(Network, AContextThatNeverComesUpIsGivenUpAfterTwoMinutes)
{
    context(false);
    run_until(State::ACTIVATE_CONTEXT);
    run_for(2min + 10s);
    EXPECT_EQ(log.count("never got activated after 120 retries"), 1U);
    EXPECT_EQ(log.count("RAT changed from"), 0U);
    EXPECT_EQ(log.count("Reset counter"), 0U);
}

TEST_F(Network, ARefusedSubscriptionKeepsTheModuleOffForGood)
{
    context(false);
    module.fails("+UCEDATA=1,0", "+CME ERROR: Service not subscribed");
    run_for(2min);
    EXPECT_EQ(state(), State::OFF);
    EXPECT_EQ(level(VCC), "0\n");
    blackout({1});
    run_for(10s);
    blackout({0});
    run_for(1min);
    EXPECT_EQ(state(), State::OFF);
}

TEST_F(Network, OnlyAnAnsweredQueryTakesALinkDown)
{
    run_until(State::CONNECTED);
    module.fails("+CGACT?", "+CME ERROR: 100");
    run_for(20s);
    EXPECT_EQ(state(), State::CONNECTED);
    context(false);
    module.on("+COPS=2", [this] { context(true); });
    run_for(3s);
    EXPECT_EQ(log.count("Data context lost, re-register!"), 1U);
    run_until(State::CONNECTED);
}

TEST_F(Network, LeavesTheConnectionWithTheRegistrationAndComesBack)
{
    run_until(State::CONNECTED);
    backend(true);
    run_for(5s);
    module.urc("+CGREG: 0");
    module.urc("+CREG: 0");
    registration(0);
    run_for(5s);
    EXPECT_EQ(state(), State::REGISTERING);
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_CONNECTING);
    registration(5);
    run_for(12s);
    EXPECT_EQ(state(), State::CONNECTED);
    EXPECT_EQ(decoded<pb::ModemRegistration>("system/modem/registration")->registration_status(),
              pb::ModemRegistration_RegistrationStatus_ROAMING);
}

TEST_F(Network, ResetsTheModuleForABackendThatStaysAway)
{
    run_until(State::CONNECTED);
    run_for(3s);
    ASSERT_TRUE(clock.await_waiters(2)); // antenna and backend timer
    run_for(14min);
    EXPECT_EQ(log.count("Reset counter"), 0U);
    run_for(2min);
    EXPECT_TRUE(log.contains(LogCapture::Level::WARNING, "No BE connection for 15 min, resetting modem"));
    EXPECT_EQ(published().reset_reason(), pb::ModemStatus_ModemResetReason_BACKEND_TIMEOUT);
    EXPECT_EQ(log.count("Wait 10 seconds"), 1U);
}

TEST_F(Network, AConnectedBackendStopsTheWatch)
{
    run_until(State::CONNECTED);
    run_for(3s);
    backend(true);
    run_for(3s);
    EXPECT_EQ(log.count("BE connection detected, stopping timer"), 1U);
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_CONNECTED);
    run_for(1h);
    EXPECT_EQ(state(), State::CONNECTED);
    EXPECT_EQ(log.count("Reset counter"), 0U);
}

TEST_F(Network, ATimeoutOfZeroSwitchesTheBackendWatchOff)
{
    settings->set("modem_restart_timeout", "0");
    run_until(State::CONNECTED);
    run_for(2h);
    EXPECT_EQ(state(), State::CONNECTED);
    EXPECT_EQ(log.count("No BE connection"), 0U);
    EXPECT_EQ(log.count("modem_restart_timeout is 0"), 1U);
}

TEST_F(Network, WaitsOutABackOffAndAsksTheModule)
{
    run_until(State::CONNECTED);
    module.answers("+UNFM?", "+UNFM: 1,1,0,300,0,0");
    module.urc("+UUNFM: 1,600");
    run_for(65s);
    EXPECT_EQ(state(), State::BACKOFF);
    EXPECT_EQ(module.count("+UNFM?"), 2U); // not before the first interval, then once in each
    module.answers("+UNFM?", "+UNFM: 1,1,0,0,0,0");
    run_for(40s);
    EXPECT_EQ(state(), State::CONNECTED);

    module.fails("+UNFM?", "ERROR"); // what the URC said counts then
    module.urc("+UUNFM: 2,120");
    run_for(110s);
    EXPECT_EQ(state(), State::BACKOFF);
    EXPECT_GE(log.count("Unable to query +UNFM"), 1U);
    run_for(30s);
    EXPECT_EQ(state(), State::CONNECTED);
}

TEST_F(Network, RadioSilenceTakesTheSupplyInEveryState)
{
    for (const State from : {State::WAITING_FOR_SIM, State::REGISTERED, State::CONNECTED}) {
        context(from != State::REGISTERED);
        if (from == State::WAITING_FOR_SIM) {
            module.fails("+CPIN?", "+CME ERROR: SIM busy");
        } else {
            module.answers("+CPIN?", "+CPIN: READY");
        }
        run_until(from);
        blackout({1, 1}); // not one byte: ignored
        run_for(2s);
        ASSERT_NE(state(), State::OFF);
        blackout({1});
        run_for(15s);
        EXPECT_EQ(state(), State::OFF) << Modem::state_to_str(from);
        EXPECT_EQ(level_of_supply(), "0\n");
        run_for(1min);
        EXPECT_EQ(state(), State::OFF);
        blackout({0});
    }
    run_until(State::CONNECTED);
}

TEST_F(Network, TheSimLockMovedTakesTheOtherCardWithoutARestart)
{
    run_until(State::CONNECTED);
    module.forget();
    pin(SIM_LOCK, "0", "in");
    step();
    EXPECT_EQ(published().active_sim(), pb::SIM_EXTERNAL);
    run_until(State::CONNECTED);
    EXPECT_EQ(module.count("+CPIN?"), 1U); // of the other card
    EXPECT_EQ(module.count("+CMEE=2"), 0U);
}

TEST_F(Network, WhatCannotBeReadIsLoggedOnceAndThenCountedByTheMinute)
{
    run_until(State::CONNECTED);
    for (std::size_t round = 1; round <= 2; ++round) {
        for (int i = 0; i < 500; ++i) {
            modem().message("be/status", ecu::kova::com::Message({0x09, 0xff}));
            modem().message("rt/system/blackout_mode", ecu::kova::com::Message({0xff}));
            blackout({1, 1});
            module.urc("+CREG: x");
            if (i % 100 == 0) {
                step();
            }
        }
        run_for(2min + 5s); // the minute's count, and a quiet minute
        EXPECT_EQ(state(), State::CONNECTED);
        EXPECT_EQ(log.count("Total length is smaller then expected header length"), round);
        EXPECT_EQ(log.count("Unable to deserialize received message (1), topic: be/status"), round);
        EXPECT_EQ(log.count("499 more unreadable messages on be/status in the last minute"), round);
        EXPECT_EQ(log.count("499 more unreadable signals of rt/system/blackout_mode"), round);
        EXPECT_EQ(log.count("499 more blackout messages without their one byte"), round);
        EXPECT_EQ(log.count("Unable to read the registration in"), round);
        EXPECT_EQ(log.count("499 more unreadable reports in the last minute"), round);
    }
}

TEST_F(Network, ABurstOfReportsIsTakenInOrder)
{
    run_until(State::CONNECTED);
    for (const char* line :
         {"+CREG: 1,\"00FF\",\"0000ABCD\",2", "+CREG: 5", "+CGREG: 5,\"00FE\",\"0000ABCE\",2,3", "+UREG: 5",
          "+CREG: 2,2,\"1A2B\",\"01C3D4E5\",2", "+UREG: 1,3", // answers that came too late
          "+CIEV: 2,4", "+CIEV: 9,1", "+CGEV: ME DETACH", "+XYZ: 1"}) {
        module.urc(line);
    }
    step();
    modem().process_urc_queue();
    run_for(12s);
    EXPECT_EQ(published().signal_quality(), 4);
    EXPECT_EQ(log.count("Unhandled CIEV URC: 9,1"), 1U);
    EXPECT_EQ(log.count("NW registration status: ROAMING (5)"), 1U);
    EXPECT_EQ(log.count("NW registration status: "), 2U);
    EXPECT_EQ(log.count("Ext PS registration: 5 = HSUPA"), 1U);
    EXPECT_EQ(log.count("Ext PS registration: "), 1U);
}
