#include "modem_fixture.hpp"

using namespace std::chrono_literals;

// What once went round without end, a reset or a word.

namespace {

class Circles : public ModemFixture {
protected:
    explicit Circles(ScriptedPort::Family family = ScriptedPort::Family::SARA) : ModemFixture(family) {}

    std::size_t resets() const { return log.count("Reset counter: "); }
    auto reason() { return published().reset_reason(); }
    void context(bool active) { module.answers("+CGACT?", active ? "+CGACT: 1,1" : "+CGACT: 1,0"); }
};

class TobyCircles : public Circles {
protected:
    TobyCircles() : Circles(ScriptedPort::Family::TOBY) {}
};

} // namespace

TEST_F(Circles, APortLostFiveTimesWithoutAConnectionResetsTheModule)
{
    for (int round = 1; round <= 2; ++round) { // a connection in between forgives
        int losses = 0;
        if (round == 2) {
            ++losses;
            module.loop_ended(); // out of a connection, this time
        }
        module.on("+CPLS=1", [&] {
            ++losses;
            module.loop_ended(); // the firmware crashes on it
        });
        while (resets() < static_cast<std::size_t>(round)) {
            step();
            ASSERT_LE(losses, 5);
        }
        EXPECT_EQ(losses, 5);
        EXPECT_EQ(reason(), pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE);
        module.on("+CPLS=1", [] {});
        run_until(State::CONNECTED);
        for (int loss = 0; loss < 4; ++loss) { // each from a connection
            module.loop_ended();
            run_for(3s);
            run_until(State::CONNECTED);
        }
    }
    EXPECT_EQ(resets(), 2U);
}

TEST_F(Circles, AModuleThatAnswersAllButTheCardsQuestionIsReset)
{
    for (std::size_t round = 1; round <= 2; ++round) {
        module.is_silent("+CPIN?");
        while (resets() < round && module.count("+CPIN?") < 100) {
            step();
        }
        EXPECT_EQ(reason(), pb::ModemStatus_ModemResetReason_AT_PORT_TIMEOUT);
        EXPECT_EQ(module.count("+CPIN?"), 11U);
        module.answers("+CPIN?", "+CPIN: READY");
        run_until(State::CONNECTED);
        module.forget();
        module.loop_ended(); // the set-up is done anew
    }
}

TEST_F(Circles, APortLostInABackOffCountsOnce)
{
    context(false);
    module.fails("+UCEDATA=1,0", "ERROR"); // stays REGISTERED for a while
    for (int loss = 1; loss <= 4; ++loss) {
        run_until(State::REGISTERED);
        module.urc("+UUNFM: 0,3600");
        step();
        ASSERT_EQ(state(), State::BACKOFF);
        module.loop_ended();
        run_for(10s);
    }
    EXPECT_EQ(resets(), 0U);
}

TEST_F(Circles, ARegistrationThatFlapsIsResetAfterTwiceTheSearchLimit)
{
    context(false);
    run_until(State::REGISTERED);
    const auto begin = clock.now();
    for (int second = 0; log.count("No connection in") == 0 && clock.now() - begin < 2h; ++second) {
        module.urc(second % 2 ? "+CREG: 1" : "+CREG: 0");
        module.urc(second % 2 ? "+CGREG: 1" : "+CGREG: 0");
        log.clear();
        step();
    }
    EXPECT_EQ(log.count("No connection in 3600 seconds"), 1U);
    EXPECT_NEAR(std::chrono::duration<double>(clock.now() - begin).count(), 3600, 60);
    step();
    EXPECT_EQ(reason(), pb::ModemStatus_ModemResetReason_NETWORK_SEARCH_TIMEOUT);
    context(true);
    backend(true);
    for (int hour = 0; hour < 3; ++hour) { // neither before the power-up nor while connected does it run
        run_until(State::CONNECTED);
        run_for(59min);
        module.urc("+CREG: 0");
        module.urc("+CGREG: 0");
        module.answers("+CREG?", "+CREG: 2,0");
        module.answers("+CGREG?", "+CGREG: 2,0");
        run_for(15min);
        module.answers("+CREG?", "+CREG: 2,1");
        module.answers("+CGREG?", "+CGREG: 2,1");
    }
    EXPECT_EQ(log.count("No connection in"), 1U);
    EXPECT_EQ(resets(), 1U);
}

TEST_F(Circles, AnAccessTechnologyThatChangesInEveryPassEndsInAGivingUp)
{
    context(false);
    run_until(State::ACTIVATE_CONTEXT);
    for (int pass = 0; pass < 600 && log.count("never got activated after 120 retries") == 0; ++pass) {
        module.urc(std::string("+CREG: 1,\"1A2B\",\"01C3D4E5\",") + (pass % 2 ? "2" : "6"));
        module.urc(std::string("+CGREG: 1,\"1A2B\",\"01C3D4E5\",") + (pass % 2 ? "2" : "6"));
        step();
    }
    EXPECT_EQ(log.count("never got activated after 120 retries"), 1U);
    EXPECT_GE(log.count("re-initiate activation."), 50U);
    log.clear();
    run_until(State::ACTIVATE_CONTEXT); // and the next visit has its two minutes again
    run_for(119s);
    EXPECT_EQ(log.count("never got activated"), 0U);
}

TEST_F(Circles, AnActivationThatIsNotAnsweredIsGivenUpAtOnce)
{
    context(false);
    run_until(State::REGISTERED);
    module.is_silent("+UCEDATA=1,0");
    run_for(1s);
    EXPECT_EQ(module.count("+UCEDATA=1,0"), 1U);
    EXPECT_EQ(log.count("was not answered, re-registration"), 1U);
    run_for(25min);
    EXPECT_EQ(reason(), pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR);
}

TEST_F(Circles, AMutePortEndsInTheHardwareErrorAndOneAnswerForgivesIt)
{
    const auto mute_until_reset = [this](std::size_t wanted) {
        module.mute(true);
        while (resets() < wanted && state() != State::DTC_HW_ERROR) {
            step();
        }
        module.mute(false);
    };
    run_until(State::UNINITIALIZED);
    mute_until_reset(4);
    run_until(State::CONNECTED);
    modem().prepare_reset(pb::ModemStatus_ModemResetReason_SIM_ERROR);
    log.clear();
    run_until(State::UNINITIALIZED);
    mute_until_reset(10);
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
    EXPECT_EQ(log.count("Unable to start the AT Cmd UART"), 5U);
    EXPECT_EQ(signal("rt/system/status_modem_module_error"), 1);
}

TEST_F(Circles, SettingsThatCarryTheDataPathAreNeverLetThrough)
{
    module.answers("+UUSBCONF?", "+UUSBCONF: 0"); // and never anything else
    modem().run(Action::RUN);
    EXPECT_EQ(log.count("Max reset counter (10/10)"), 1U);
    EXPECT_GE(log.count("The module does not keep its settings (USB profile); without them no data path"),
              1U);
    EXPECT_EQ(module.count("+CMEE=2"), 0U);
}

TEST_F(Circles, SettingsThatTheModuleCanDoWithoutAreNamed)
{
    module.answers("+URAT?", "+URAT: 1");
    module.answers("+UDCONF=50", "+UDCONF: 50,0");
    run_until(State::CONNECTED);
    EXPECT_EQ(resets(), 3U);
    EXPECT_EQ(
        log.count("The module does not keep its settings (SIM hot-swap, radio access technology), going on"),
        1U);
}

TEST_F(Circles, ASimPulledAndPutBackIsEnteredAtOnce)
{
    run_until(State::CONNECTED);
    run_for(30s);
    module.urc("+CIEV: 12,0");
    run_for(3s);
    EXPECT_EQ(log.count("removed, ICCID '8949010010000000017'"), 1U);
    EXPECT_EQ(decoded<pb::ModemSimInformation>("system/modem/sim")->sim(0).iccid(), "");
    module.forget();
    module.fails("+CPIN?", "+CME ERROR: SIM busy"); // at first
    module.urc("+CIEV: 12,1");
    step();
    EXPECT_EQ(state(), State::WAITING_FOR_SIM);
    module.answers("+CPIN?", "+CPIN: READY");
    run_until(State::CONNECTED);
    EXPECT_EQ(resets(), 0U);
    EXPECT_EQ(decoded<pb::ModemSimInformation>("system/modem/sim")->sim(0).iccid(), "8949010010000000017");
}

TEST_F(Circles, ABackOffOfZeroSecondsAndAStatusAloneAreUnderstood)
{
    run_until(State::CONNECTED);
    module.urc("+UUNFM: 1,0");
    run_for(3s);
    EXPECT_EQ(state(), State::CONNECTED);
    module.urc("+UUNFM: 5");
    step();
    EXPECT_EQ(log.count("Change state from 'Modem::State::CONNECTED' to 'Modem::State::REGISTERING'"), 1U);
}

TEST_F(Circles, TellsThatTheBackendHasGone)
{
    run_until(State::CONNECTED);
    backend(true);
    run_for(3s);
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_CONNECTED);
    backend(false);
    run_for(3s);
    EXPECT_EQ(published().state(), pb::ModemStatus_ModemState_CONNECTING);
}

TEST_F(Circles, ASupplyThatStaysIsSaidAgainAndTriedAgain)
{
    run_until(State::CONNECTED);
    const std::string value = "/sys/class/gpio/gpio3/value";
    root.remove(value);
    std::filesystem::create_directory(root.path(value)); // cannot be written
    blackout({1});
    run_for(5min);
    EXPECT_EQ(state(), State::OFF);
    EXPECT_GE(log.count("supply could not be taken away"), 4U);
    EXPECT_LE(log.count("supply could not be taken away"), 6U);
    root.remove(value);
    pin(VCC, "1", "out");
    run_for(2s);
    EXPECT_EQ(level(VCC), "0\n");
    EXPECT_EQ(log.count("The module's supply is away now"), 1U);
}
