#include "scenario/rig.hpp"

namespace {

using testing::HasSubstr;
using testing::Not;

/// A SARA that is connected, after the one reset of its first boot.
class Connection : public Rig {};

TEST_F(Connection, ComesBackWithTheNetworkWithoutAReset)
{
    connect({});
    sim("network lost");
    await_leaving(CONNECTED);
    sim("network home");
    await_state(CONNECTED);
    sim("context lost");
    await_reconnection();
    EXPECT_EQ(resets(), 1);
    EXPECT_EQ(bus().signal("rt/system/modem_creg"), 1);
}

TEST_F(Connection, ComesBackAfterTheModulesOwnRestartAndALostPort)
{
    connect({});
    sim("port drop 2");
    await_reconnection();
    sim("reboot");
    await_reconnection();
    EXPECT_EQ(resets(), 1) << "neither calls for one";
}

TEST_F(Connection, EndsInRadioSilenceAndComesBackAfterIt)
{
    connect({});
    radio_silence(true);
    await_state(DISABLED);
    EXPECT_FALSE(supply());
    await_more_statuses(2);
    EXPECT_FALSE(supply());
    radio_silence(false);
    await_state(CONNECTED);
    EXPECT_EQ(resets(), 1);
}

TEST_F(Connection, IsNotDisturbedByGarbageAndFloods)
{
    constexpr int FLOOD = 300;
    connect({});
    const int changes = said("Change state from");
    const int heard = said("NW registration status: HOME");
    sim("garbage 20000");
    for (int i = 0; i < FLOOD; ++i) {
        sim("urc +CREG: 1,\"1F4E\",\"44A5F2\",2");
        sim("urc +CREG: 99999999999999999999,\"");
    }
    await("the flood", [&] { return said("NW registration status: HOME") >= heard + FLOOD; });
    sim("garbage 20000");
    await_more_statuses(2);
    EXPECT_EQ(said("Change state from"), changes);
    EXPECT_EQ(bus().newest<pb::ModemStatus>("system/modem/status")->state(), CONNECTED);
    EXPECT_EQ(bus().signal("rt/system/modem_creg"), 1);
}

TEST_F(Connection, TellsItsPresentStateToABrokerThatComesLateOrAnew)
{
    const std::vector<std::string> topics{"system/modem/status", "system/modem/hardware", "system/modem/sim",
                                          "system/modem/registration"};
    plug({});
    start_celld();
    await("a connection without a broker", [this] { return said("to 'Modem::State::CONNECTED'") > 0; });
    start_broker();
    await_state(CONNECTED);

    stop_broker();
    sim("network lost");
    await("the loss of the network", [this] { return said("from 'Modem::State::CONNECTED'") > 0; });
    std::map<std::string, std::size_t> before;
    for (const auto& topic : topics) {
        before[topic] = bus().count(topic);
    }
    start_broker();
    for (const auto& [topic, count] : before) {
        await(topic + ", told again", [&, name = topic, heard = count] { return bus().count(name) > heard; });
    }
    const BusProbe late(port(), "late");
    await("the state kept",
          [&] { return late.newest<pb::ModemStatus>("system/modem/status", true).has_value(); });
    EXPECT_NE(late.newest<pb::ModemStatus>("system/modem/status")->state(), CONNECTED);

    sim("network home");
    bus().skip_statuses();
    await_state(CONNECTED);
}

/// With a PIN, and access data that nobody may read in a log.
class ExternalSim : public Rig {
protected:
    static Unit unit(const std::string& configured_pin)
    {
        return {.module = {"--simlock=0", "--external-pin=73910582"},
                .settings = "sim.external.apn = fleet.example\nsim.external.user = truck4711\n"
                            "sim.external.password = swordfish\nsim.external.pin = " +
                            configured_pin + "\n"};
    }
};

TEST_F(ExternalSim, ConnectsAndKeepsItsSecretsOutOfTheLog)
{
    plug(unit("73910582"));
    sim("silent +CPIN="); // what fails is logged, and with it what was sent
    sim("fail +UAUTHREQ=");
    start_broker();
    start_celld();
    for (const std::string command : {"+CPIN=", "+UAUTHREQ="}) {
        await("a failed " + command, [&] { return said(command) > 0; });
        sim("unfail " + command);
    }
    await_state(CONNECTED);
    EXPECT_GT(commands("+CPIN=\"73910582\""), 0);
    EXPECT_GT(commands("+UAUTHREQ=1,1,\"truck4711\",\"swordfish\""), 0);
    const auto cards = bus().newest<pb::ModemSimInformation>("system/modem/sim").value();
    EXPECT_EQ(cards.active(), pb::SIM_EXTERNAL);
    EXPECT_FALSE(cards.sim(1).iccid().empty());
    EXPECT_EQ(terminate(), 0);
    for (const char* secret : {"73910582", "swordfish"}) {
        EXPECT_THAT(log(), Not(HasSubstr(secret)));
    }
}

TEST_F(ExternalSim, SendsAWrongPinOnceSoThatACorrectedOneHasAttemptsLeft)
{
    plug(unit("0000"));
    start_broker();
    start_celld();
    await("the refusal", [this] { return said("is not sent again, 2 attempts left") > 0; });
    const int asked = commands("+CPIN?");
    await("more looks at the SIM", [&] { return commands("+CPIN?") >= asked + 5; });
    EXPECT_EQ(commands("+CPIN=\""), 1) << "of the card's three attempts";
    EXPECT_THAT(sim("state"), HasSubstr("pin_attempts=2"));
}

} // namespace
