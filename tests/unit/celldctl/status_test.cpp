#include "bus/message_adapter.hpp"
#include "snapshot_observer.hpp"
#include "status_views.hpp"

#include <gtest/gtest.h>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using celldctl::Snapshot;

namespace {

template <class T>
void put(Snapshot& bus, const std::string& topic, const T& message)
{
    bus.take(topic, *com::PbInternalMessageAdapter<T>().serialize(message));
}

pb::ModemStatus connected_status()
{
    pb::ModemStatus status;
    status.set_state(pb::ModemStatus_ModemState_CONNECTED);
    status.set_reset_reason(pb::ModemStatus_ModemResetReason_BACKEND_TIMEOUT);
    status.set_operator_id("26201");
    status.set_operator_name("Telek\u00f6m");
    status.set_sim_operator_name("Vexa");
    status.mutable_location()->set_mcc(262);
    status.mutable_location()->set_mnc(1);
    status.mutable_location()->set_area_code(0xffff);
    status.mutable_location()->set_cell_id(0xffffffff);
    status.set_network_time_utc_us(1'769'860'800'000'000);
    status.set_rssi(21);
    status.set_signal_quality(2);
    status.mutable_registration()->set_registration_status(pb::ModemRegistration_RegistrationStatus_SEARCH);
    return status;
}

/// What a unit in good health retains. The registration of its own topic is newer than the status's.
Snapshot healthy_bus()
{
    Snapshot bus;
    put(bus, "system/modem/status", connected_status());
    pb::ModemRegistration registration;
    registration.set_registration_status(pb::ModemRegistration_RegistrationStatus_ROAMING);
    registration.set_ext_ps_reg_status(pb::ModemRegistration_ExtPSRegStatus_PS_LTE);
    registration.set_radio_access_technology(pb::ModemRegistration_RadioAccessTechnology_EUTRAN);
    put(bus, "system/modem/registration", registration);
    pb::ModemHardware hardware;
    hardware.set_imei("004999010640000");
    hardware.set_model("SARA-R5");
    put(bus, "system/modem/hardware", hardware);
    pb::ModemSimInformation sims;
    sims.set_active(pb::SIM_EXTERNAL);
    sims.add_sim()->set_type(pb::SIM_INTERNAL); // an empty slot
    sims.add_sim()->set_type(pb::SIM_EXTERNAL);
    sims.mutable_sim(1)->set_iccid("8949020000001234567");
    put(bus, "system/modem/sim", sims);
    pb::BackendProxyStatus backend;
    backend.set_status(pb::BackendProxyStatus::BACKEND_CONNECTED);
    put(bus, "be/status", backend);
    return bus;
}

/// A last will over an old registration, texts for the terminal to obey, bytes that are no frame.
Snapshot hostile_bus()
{
    Snapshot bus = healthy_bus();
    pb::ModemStatus will;
    will.set_state(pb::ModemStatus_ModemState_UNKNOWN);
    will.set_operator_name("\x1b[2J\xc2\x9b" + std::string(1000, 'x'));
    will.set_operator_id("\x9b\n");
    will.set_rssi(99);
    will.set_signal_quality(-1);
    will.set_network_time_utc_us(-1);
    put(bus, "system/modem/status", will);
    bus.take("system/modem/hardware", com::Message({0x09, 0xff, 0x1b}));
    bus.take("system/modem/sim", com::Message(com::Message::Payload(1'000'000)));
    bus.take("be/status", com::Message());
    return bus;
}

constexpr auto HEALTHY_TEXT = R"(  -------------------------------
  Status   |             state: CONNECTED
           |      reset reason: BACKEND_TIMEOUT
           |           backend: CONNECTED
  -------------------------------
  Network  |      registration: ROAMING
           |    packet service: LTE
           |        technology: EUTRAN (LTE)
           |          operator: Teleköm
           |       operator id: 26201
           |    SIM's operator: Vexa
           |      network time: 2026-01-31T12:00:00Z
  -------------------------------
  Cell     |               mcc: 262
           |               mnc: 1
           |         area code: 65535
           |           cell id: 4294967295
           |      routing area: --
  -------------------------------
  Signal   |          strength: -71 dBm
           |              bars: 2 of 5
  -------------------------------
  SIM      |            active: EXTERNAL
           |    EXTERNAL ICCID: 8949020000001234567
           |     EXTERNAL IMSI: --
  -------------------------------
  Hardware |      manufacturer: --
           |             model: SARA-R5
           |              IMEI: 004999010640000
)";

constexpr auto HOSTILE_TEXT = R"(  -------------------------------
  Status   |             state: UNKNOWN
           |      reset reason: --
           |           backend: --
  -------------------------------
  Network  |      registration: ROAMING
           |    packet service: LTE
           |        technology: EUTRAN (LTE)
           |          operator: \x1b[2J\x9bxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...
           |       operator id: �\x0a
           |    SIM's operator: --
           |      network time: --
  -------------------------------
  Cell     |               mcc: --
           |               mnc: --
           |         area code: --
           |           cell id: --
           |      routing area: --
  -------------------------------
  Signal   |          strength: --
           |              bars: --
  -------------------------------
  SIM      |            active: --
  -------------------------------
  Hardware |      manufacturer: --
           |             model: --
           |              IMEI: --
  -------------------------------
  Bus      |         not there: backend
           |        unreadable: hardware, sim
           |            daemon: gone; the rest is what it said last
)";

constexpr auto HEALTHY_JSON = R"({"connected":true,"daemon_gone":false,"stale":false,"state":"CONNECTED",
"reset_reason":"BACKEND_TIMEOUT","backend":"BACKEND_CONNECTED",
"registration":{"status":"ROAMING","packet_service":"PS_LTE","technology":"EUTRAN"},
"operator":{"name":"Telek\u00f6m","id":"26201","sim_name":"Vexa"},"network_time":"2026-01-31T12:00:00Z",
"cell":{"mcc":262,"mnc":1,"area_code":65535,"cell_id":4294967295},"signal":{"rssi_dbm":-71,"bars":2},
"active_sim":"SIM_EXTERNAL","sims":[{"type":"SIM_EXTERNAL","active":true,"iccid":"8949020000001234567"}],
"hardware":{"model":"SARA-R5","imei":"004999010640000"},
"bus":{"status":"present","registration":"present","hardware":"present","sim":"present","backend":"present"},"age_s":{},"journal":{"absent":"none"}})";

const std::string HOSTILE_JSON = R"({"connected":false,"daemon_gone":true,"stale":false,"state":"UNKNOWN",
"registration":{"status":"ROAMING","packet_service":"PS_LTE","technology":"EUTRAN"},
"operator":{"name":"\u001b[2J\u009b)" +
                                 std::string(1000, 'x') + R"(","id":"\ufffd\n"},"cell":{},"signal":{},
"sims":[],"hardware":{},
"bus":{"status":"present","registration":"present","hardware":"unreadable","sim":"unreadable","backend":"missing"},"age_s":{},"journal":{"absent":"none"}})";

/// Without the layout between the tokens; a text of the tables has no blank within.
std::string packed(std::string json)
{
    std::erase_if(json, [](char character) { return character == ' ' || character == '\n'; });
    return json;
}

} // namespace

TEST(Status, ShowsOneScreen)
{
    const std::pair<Snapshot, std::string> cases[] = {{healthy_bus(), HEALTHY_TEXT},
                                                      {hostile_bus(), HOSTILE_TEXT}};
    for (const auto& [bus, screen] : cases) {
        EXPECT_EQ(celldctl::status_text(celldctl::facts_of(bus, {}), bus), screen);
    }
}

TEST(Status, TellsAProgramTheSame)
{
    const std::pair<Snapshot, std::string> cases[] = {{healthy_bus(), HEALTHY_JSON},
                                                      {hostile_bus(), HOSTILE_JSON}};
    for (const auto& [bus, json] : cases) {
        EXPECT_EQ(packed(celldctl::status_json(celldctl::facts_of(bus, {}), bus, {{}, "none"})),
                  packed(json));
    }
}

TEST(Status, KnowsTheStrengthOnlyWithinItsScale)
{
    struct {
        int rssi;
        std::optional<std::int64_t> dbm;
        std::optional<std::int64_t> bars;
    } const cases[] = {{-1, {}, {}}, {0, -113, 0}, {3, -107, 0}, {4, -105, 1},       {28, -57, 5},
                       {31, -51, 5}, {32, {}, {}}, {99, {}, {}}, {INT32_MIN, {}, {}}};
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
    const auto connected = *com::PbInternalMessageAdapter<pb::ModemStatus>().serialize(connected_status());
    celldctl::SnapshotObserver waits_for_connected(true, pb::ModemStatus_ModemState_CONNECTED);
    celldctl::SnapshotObserver waits_for_unknown(
        true, pb::ModemStatus_ModemState_UNKNOWN); // what no state reads as
    for (auto* const observer : {&waits_for_connected, &waits_for_unknown}) {
        observer->message("system/modem/status", connected);
        observer->message("system/modem/status", com::Message({0x1b}));
        observer->message("system/modem/status", com::Message());
    }
    EXPECT_TRUE(waits_for_connected.reached());
    EXPECT_FALSE(waits_for_unknown.reached());
}
