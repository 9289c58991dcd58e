#include "modem_fixture.hpp"

using namespace std::chrono_literals;

// What a recorded dialogue cannot tell.

namespace {

class Faults : public ModemFixture {};

} // namespace

TEST_F(Faults, WhatCannotBeReadIsLoggedOnceAndThenCountedByTheMinute)
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

TEST_F(Faults, AnAccessTechnologyThatChangesInEveryPassEndsInAGivingUp)
{
    module.answers("+CGACT?", "+CGACT: 1,0");
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

TEST_F(Faults, ASupplyThatStaysIsSaidAgainAndTriedAgain)
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

TEST_F(Faults, RunsOnWithoutGpiosAndReportsTheHardware)
{
    root.remove("/sys/class/gpio/gpio3/value");
    root.remove("/sys/class/gpio/gpio3/direction");
    root.remove("/sys/class/gpio/gpio3");
    module.present(false);
    run_for(10min);
    EXPECT_TRUE(log.contains(LogCapture::Level::ERROR, "Unable to initialize GPIOs, bailing out!"));
    EXPECT_TRUE(log.contains(LogCapture::Level::WARNING, "celld goes on without the board's lines"));
    EXPECT_EQ(state(), State::DTC_HW_ERROR);
}

TEST_F(Faults, FatalSetUpEndsTheProcessWithItsMessage)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    module.fails("+GMM", "ERROR");
    EXPECT_EXIT(modem().run(Action::RUN), ::testing::ExitedWithCode(1),
                "Unable to retrieve the Model Identifier \\(\\+GMM\\)");
}

TEST_F(Faults, AnOrderThatIsOverAtOnceCostsTheModuleNoSetting)
{
    bool due = true;
    module.on(R"(+UAUTHREQ=1,0,"","")", [&] {
        if (std::exchange(due, false)) {
            blackout({1});
            blackout({0});
        }
    });
    run_until(State::CONNECTED);
    EXPECT_EQ(module.count("+CPLS=1"), 1U);
}
