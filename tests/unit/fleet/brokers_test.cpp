#include "brokers.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <regex>

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::StartsWith;

namespace {

constexpr auto PATIENCE = FleetBrokers::PATIENCE;
constexpr auto STATUS = "system/modem/status";
constexpr auto SILENCE = "rt/system/blackout_mode";

class Fleet : public testing::Test {
protected:
    Fleet() { brokers.start_central(); }

    static void publish(const FleetBrokers::Client& client, const std::string& topic, const std::string& text)
    {
        ASSERT_TRUE(eventually([&] { return client->is_connected(); }, PATIENCE));
        ASSERT_TRUE(client->publish(topic, text_message(text, true)));
        ASSERT_TRUE(client->flush(PATIENCE));
    }

    /// All that was heard until `last` came, kept or not: who has just subscribed may hear what is said now
    /// as kept.
    static std::vector<std::string> heard_until(RecordingObserver& ear, const std::string& last)
    {
        static const std::regex kept(" kept: ");
        std::vector<std::string> all;
        EXPECT_TRUE(eventually(
            [&] {
                all = ear.wait_for(0, PATIENCE);
                for (auto& text : all) {
                    text = std::regex_replace(text, kept, ": ");
                }
                return std::find(all.begin(), all.end(), last) != all.end();
            },
            PATIENCE))
            << last << " in " << testing::PrintToString(all);
        return all;
    }

    FleetBrokers brokers;
};

} // namespace

TEST_F(Fleet, NoUnitWritesBelowAnothersIdOrTakesItsPlace)
{
    for (const auto* const words : {"unit truck-17", "unit truck-1", "operator fleet"}) {
        brokers.certificate(words);
    }
    const auto ear = std::make_shared<RecordingObserver>();
    const auto fleet = brokers.as_operator("fleet");
    fleet->subscribe("#", ear);
    const auto honest = brokers.as_unit("truck-17", "truck-17");
    publish(honest, "units/truck-17/system/modem/status", "true");
    const auto forger = brokers.as_unit("truck-1", "truck-17");
    for (const auto* const topic :
         {"units/truck-17/system/modem/status", "units/truck-17/bridge",
          "units/truck-170/system/modem/status", "units/truck-1x/system/modem/status",
          "units/system/modem/status", "system/modem/status"}) {
        publish(forger, topic, "forged");
    }
    publish(forger, "units/truck-1/system/modem/status", "own");
    EXPECT_THAT(
        heard_until(*ear, "units/truck-1/system/modem/status: own"),
        ElementsAre("units/truck-17/system/modem/status: true", "units/truck-1/system/modem/status: own"));
    EXPECT_TRUE(honest->is_connected() && !honest->connection_failure()) << "it was thrown off";

    publish(fleet, "units/truck-17/rt/system/blackout_mode", "who only reads");
    publish(forger, "units/truck-1/system/modem/status", "later");
    EXPECT_THAT(heard_until(*ear, "units/truck-1/system/modem/status: later"),
                Not(Contains(StartsWith("units/truck-17/rt"))));
}

TEST_F(Fleet, WhoHasNoCertificateOfItsListenersAuthorityIsSentAway)
{
    brokers.certificate("unit truck-17");
    brokers.certificate("operator fleet");
    const auto has_failed = [](const FleetBrokers::Client& client) {
        return eventually([&] { return client->connection_failure().has_value(); }, PATIENCE) &&
               !client->is_connected();
    };
    EXPECT_TRUE(has_failed(brokers.as_operator("truck-17")));
    EXPECT_TRUE(has_failed(brokers.as_unit("fleet", "truck-17")));
    EXPECT_TRUE(has_failed(brokers.as_unit("", "truck-17"))) << "it has none at all";
}

TEST_F(Fleet, ARestartOfTheCentralBrokerLosesNothing)
{
    brokers.certificate("unit truck-17");
    brokers.certificate("operator fleet");
    brokers.start_unit("truck-17");
    const auto ear = std::make_shared<RecordingObserver>();
    const auto fleet = brokers.as_operator("fleet");
    fleet->subscribe("units/+/system/#", ear);
    const auto daemon = brokers.on_the_unit();
    publish(daemon, "system/modem/sim", "card");
    publish(daemon, STATUS, "one");
    heard_until(*ear, "units/truck-17/system/modem/status: one");

    brokers.stop_central();
    publish(daemon, STATUS, "two"); // no client of the centre is there to hear of it
    publish(daemon, STATUS, "three");
    brokers.start_central();
    const auto states = heard_until(*ear, "units/truck-17/system/modem/status: three");
    EXPECT_THAT(states, Contains("units/truck-17/system/modem/status: two")) << "a state that has passed";

    brokers.stop_unit(); // it cannot say anything again
    brokers.stop_central();
    brokers.start_central();
    const auto late = std::make_shared<RecordingObserver>();
    const auto later = brokers.as_operator("fleet");
    later->subscribe("units/#", late);
    EXPECT_THAT(
        heard_until(*late, "units/truck-17/bridge: 0"),
        IsSupersetOf({"units/truck-17/system/modem/status: three", "units/truck-17/system/modem/sim: card"}));
}

TEST_F(Fleet, OrdersComeInOnceAndOnlyWhereTheBridgeAsksForThem)
{
    brokers.certificate("unit truck-17");
    brokers.certificate("operator dispatcher");
    const auto dispatcher = brokers.as_operator("dispatcher");
    const auto centre = std::make_shared<RecordingObserver>();
    dispatcher->subscribe("units/#", centre);
    brokers.start_unit("truck-17");
    auto ear = std::make_shared<RecordingObserver>();
    auto unit = brokers.on_the_unit();
    unit->subscribe(SILENCE, ear);
    const auto order_and_echo = [&](const std::string& text) {
        publish(unit, STATUS, "before " + text); // the bridge is there
        heard_until(*centre, "units/truck-17/system/modem/status: before " + text);
        dispatcher->publish("units/truck-17/rt/system/blackout_mode", text_message(text));
        heard_until(*centre, "units/truck-17/rt/system/blackout_mode: " + text);
    };
    order_and_echo("deaf");
    unit->publish(SILENCE, text_message("of the unit"));
    EXPECT_THAT(heard_until(*ear, "rt/system/blackout_mode: of the unit"), testing::SizeIs(1));

    brokers.stop_unit();
    brokers.start_unit("truck-17", {{"#topic rt/", "topic rt/"}, {"#topic be/", "topic be/"}});
    ear = std::make_shared<RecordingObserver>();
    unit = brokers.on_the_unit();
    unit->subscribe(SILENCE, ear);
    order_and_echo("heard");
    heard_until(*ear, "rt/system/blackout_mode: heard");
    publish(unit, STATUS, "after");
    heard_until(*centre, "units/truck-17/system/modem/status: after");
    EXPECT_THAT(ear->wait_for(0, PATIENCE), testing::SizeIs(1)) << "it goes round";
    const auto all = centre->wait_for(0, PATIENCE);
    EXPECT_EQ(std::count(all.begin(), all.end(), "units/truck-17/rt/system/blackout_mode: heard"), 1);
}
