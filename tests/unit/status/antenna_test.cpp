#include "publishing_fixture.hpp"
#include "status/antenna_handler.hpp"

using namespace std::chrono_literals;

namespace {

constexpr const char* OPEN = "rt/system/status_cellular_antenna_open_circuit";

class Antenna : public PublishingFixture {
protected:
    AntennaHandler handler{port, &data, client, {10, 10, 3}, {100, 10}, clock};
};

} // namespace

TEST_F(Antenna, ReportsTheFirstDiagnosisAndThenChangesOnly)
{
    handler.update(); // a strong signal, but the bus has heard nothing yet
    EXPECT_EQ(published(OPEN), 1U);
    EXPECT_TRUE(log.contains(LogCapture::Level::NOTICE, "Antenna healthy: impedance ")) << log;
    handler.update();
    EXPECT_EQ(port->count("+UANTR=0"), 1U);
    EXPECT_EQ(published("rt/system/modem_rssi"), 1U);

    port->answers("+CSQ", "+CSQ: 5,99"); // weak
    port->answers("+UANTR=0", "+UANTR: 0,101");
    handler.update();
    EXPECT_EQ(published(OPEN), 2U);
    EXPECT_TRUE(
        log.contains(LogCapture::Level::WARNING, "Antenna not connected (open circuit): impedance 101,"))
        << log;
    EXPECT_EQ(published("rt/system/modem_rssi"), 2U);
    port->answers("+CSQ", "+CSQ: 25,99"); // a fault is measured again until it clears
    handler.update();
    EXPECT_EQ(published(OPEN), 2U);
    port->answers("+UANTR=0", "+UANTR: 0,100"); // the bound itself is healthy
    handler.update();
    EXPECT_EQ(published(OPEN), 3U);
    handler.update();
    EXPECT_EQ(port->count("+UANTR=0"), 4U);
}

TEST_F(Antenna, CallsZeroAndBelowTheMinimumAShort)
{
    for (const char* answer : {"+UANTR: 0,0", "+UANTR: 0,9"}) {
        port->answers("+UANTR=0", answer);
        handler.update();
    }
    EXPECT_EQ(log.count("Antenna open circuit: false short to ground: true"), 2U);
    port->fails("+UANTR=0", "ERROR");
    handler.update();
    EXPECT_EQ(log.count("Unable to execute antenna dectection +UANTR=0, response: '"), 1U);
    EXPECT_EQ(published(OPEN), 1U); // no diagnosis without a measurement
}

TEST_F(Antenna, TellsTheAntennasApartAndTakesNoGarbageForASignal)
{
    port->answers("+UANTR=0", "+UANTR: 1,0+UANTR: 0,50+UANTR: 1,500");
    handler.update();
    EXPECT_EQ(log.count("Antenna open circuit: false short to ground: false"), 1U);
    port->answers("+UANTR=0", "+UANTR: 1,50");
    port->answers("+CSQ", "+CSQ: 99,99"); // not known is no strong signal: the check is due
    handler.update();
    EXPECT_EQ(port->count("+UANTR=0"), 2U);
    EXPECT_EQ(log.count("Unable to execute antenna dectection +UANTR=0, response: '"), 1U);
    EXPECT_EQ(data.antenna.rssi(), 99);
    for (const char* garbage : {"+CSQ: 32,99", "+CSQ: 100,99", "+CSQ: -1,99"}) {
        port->answers("+CSQ", garbage);
        handler.update();
        EXPECT_EQ(data.antenna.rssi(), 99) << garbage;
    }
}

TEST_F(Antenna, ReportsAgainWhatTheBusHasNotHeard)
{
    for (std::size_t round = 1; round <= 2; ++round) {
        bus::set_outage(true);
        port->answers("+UANTR=0", round == 1 ? "+UANTR: 0,50" : "+UANTR: 0,0");
        port->answers("+CSQ", round == 1 ? "+CSQ: 25,99" : "+CSQ: 5,99");
        for (int period = 0; period < 3; ++period) {
            handler.update();
        }
        bus::set_outage(false);
        port->answers("+CSQ", "+CSQ: 26,99");
        handler.update();
        handler.update();
        EXPECT_EQ(published(OPEN), round);
        EXPECT_EQ(published("rt/system/modem_rssi"), 1U);
        EXPECT_EQ(log.count("Send antenna status..."), round);
        EXPECT_EQ(log.count("The bus does not take the antenna status"), round);
        EXPECT_EQ(log.count("The bus has taken the antenna status"), round);
    }
    EXPECT_EQ(port->count("+UANTR=0"), 1U + 5U); // a healthy one is not measured for want of a bus
}

TEST_F(Antenna, AsksNothingWhileTheModuleRestarts)
{
    handler.start();
    ASSERT_TRUE(clock.await_waiters(1));
    port->loop_ended();
    clock.advance(10s);
    ASSERT_TRUE(clock.await_waiters(1));
    handler.stop();
    EXPECT_EQ(port->count("+CSQ"), 0U);
    EXPECT_FALSE(log.contains(LogCapture::Level::ERROR, "")) << log;
}

TEST_F(Antenna, MeasuresInItsPeriodAndForcesACheckEveryThird)
{
    handler.start();
    handler.start(); // runs already
    for (int period = 0; period < 6; ++period) {
        clock.advance(10s);
        ASSERT_TRUE(clock.await_waiters(1));
    }
    handler.stop();
    EXPECT_EQ(port->count("+CSQ"), 6U);
    EXPECT_EQ(port->count("+UANTR=0"), 3U); // the first, the third and the sixth
}
