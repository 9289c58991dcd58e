#include "bus_examples.hpp"
#include "frames.hpp"
#include "snapshot_observer.hpp"
#include "status_views.hpp"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using celldctl::Snapshot;
using testing::AllOf;
using testing::HasSubstr;

namespace {

/// A last will over an old registration, texts for the terminal to obey, bytes that are no frame.
Snapshot hostile_bus()
{
    Snapshot bus = documented_unit();
    pb::ModemStatus will;
    will.set_state(pb::ModemStatus_ModemState_UNKNOWN);
    will.set_operator_name("\x1b[2J\xc2\x9b" + std::string(1000, 'x'));
    will.set_operator_id("\x9b\n");
    will.mutable_location()->set_cell_id(0xffffffff);
    will.set_rssi(99);
    will.set_signal_quality(-1);
    will.set_network_time_utc_us(-1);
    bus.take("system/modem/status", frame_of(will));
    bus.take("system/modem/hardware", com::Message({0x09, 0xff, 0x1b}));
    bus.take("system/modem/sim", com::Message(com::Message::Payload(1'000'000)));
    bus.take("be/status", com::Message());
    return bus;
}

nlohmann::json json_of(const Snapshot& bus)
{
    const auto text = celldctl::status_json(celldctl::facts_of(bus, {}), bus, {{}, "none"});
    EXPECT_TRUE(std::all_of(text.begin(), text.end(),
                            [](char one) { return one == '\n' || (one >= ' ' && one <= '~'); }));
    return nlohmann::json::parse(text);
}

} // namespace

TEST(Status, ShowsOneScreenAndTellsAProgramTheSame)
{
    auto bus = documented_unit();
    bus.registration.value.set_registration_status(pb::ModemRegistration::HOME); // newer than the status
    EXPECT_EQ(celldctl::status_text(celldctl::facts_of(bus, {}), bus), R"(  -------------------------------
  Status   |             state: CONNECTED
           |      reset reason: BACKEND_TIMEOUT
           |           backend: CONNECTED
  -------------------------------
  Network  |      registration: HOME
           |    packet service: LTE
           |        technology: EUTRAN (LTE)
           |          operator: Example Net
           |       operator id: 26201
           |    SIM's operator: Fleet
           |      network time: 2026-01-31T12:00:00Z
  -------------------------------
  Cell     |               mcc: 262
           |               mnc: 1
           |         area code: 6699
           |           cell id: 27447299
           |      routing area: --
  -------------------------------
  Signal   |          strength: -79 dBm
           |              bars: 3 of 5
  -------------------------------
  SIM      |            active: INTERNAL
           |    INTERNAL ICCID: 89490200001234567890
           |     INTERNAL IMSI: 262011234567890
  -------------------------------
  Hardware |      manufacturer: u-blox
           |             model: TOBY-L210
           |              IMEI: 490154203237518
)");
    const auto json = json_of(bus);
    EXPECT_EQ(json["connected"], true);
    EXPECT_EQ(json["registration"]["status"], "HOME");
    EXPECT_EQ(json["operator"],
              (nlohmann::json{{"name", "Example Net"}, {"id", "26201"}, {"sim_name", "Fleet"}}));
    EXPECT_EQ(json["cell"],
              (nlohmann::json{{"mcc", 262}, {"mnc", 1}, {"area_code", 6699}, {"cell_id", 27447299}}));
    EXPECT_EQ(json["sims"][0]["active"], true);
    EXPECT_EQ(json["sims"].size(), 1U) << "a slot is empty";
}

TEST(Status, NeitherObeysNorBelievesAHostileBus)
{
    const auto bus = hostile_bus();
    const auto screen = celldctl::status_text(celldctl::facts_of(bus, {}), bus);
    EXPECT_THAT(screen, AllOf(HasSubstr("operator: \\x1b[2J\\x9b" + std::string(58, 'x') + "...\n"),
                              HasSubstr("operator id: \xef\xbf\xbd\\x0a\n"), HasSubstr("network time: --\n"),
                              HasSubstr("strength: --\n"), HasSubstr("bars: --\n"), HasSubstr("IMEI: --\n"),
                              HasSubstr("cell id: 4294967295\n"), HasSubstr("registration: ROAMING\n")));
    EXPECT_THAT(screen, testing::EndsWith(R"(         not there: backend
           |        unreadable: hardware, sim
           |            daemon: gone; the rest is what it said last
)"));
    const auto json = json_of(bus);
    EXPECT_EQ(json["connected"], false);
    EXPECT_EQ(json["daemon_gone"], true);
    EXPECT_EQ(json["operator"]["name"], "\x1b[2J\xc2\x9b" + std::string(1000, 'x'));
    EXPECT_EQ(json["cell"]["cell_id"], 0xffffffff);
}

TEST(Status, KnowsTheStrengthOnlyWithinItsScale)
{
    struct {
        int rssi;
        std::optional<std::int64_t> dbm;
        std::optional<std::int64_t> bars;
    } const cases[] = {{-1, {}, {}}, {0, -113, 0}, {3, -107, 0}, {4, -105, 1},
                       {28, -57, 5}, {31, -51, 5}, {32, {}, {}}, {INT32_MIN, {}, {}}};
    for (const auto& [rssi, dbm, bars] : cases) {
        Snapshot bus;
        bus.status.value.set_rssi(rssi);
        const auto facts = celldctl::facts_of(bus, {});
        EXPECT_EQ(facts.rssi_dbm, dbm) << rssi;
        EXPECT_EQ(facts.bars, bars) << rssi;
    }
}

TEST(WaitFor, SeesAStateThatLastsForOneMessage)
{
    celldctl::SnapshotObserver waits_for_connected(true, pb::ModemStatus_ModemState_CONNECTED);
    celldctl::SnapshotObserver waits_for_unknown(
        true, pb::ModemStatus_ModemState_UNKNOWN); // what no state reads as
    for (auto* const observer : {&waits_for_connected, &waits_for_unknown}) {
        observer->message("system/modem/status", frame_of(status_in(pb::ModemStatus::CONNECTED)));
        observer->message("system/modem/status", com::Message({0x1b}));
        observer->message("system/modem/status", com::Message());
    }
    EXPECT_TRUE(waits_for_connected.reached());
    EXPECT_FALSE(waits_for_unknown.reached());
}
