#include "data/registration.hpp"
#include "publishing_fixture.hpp"
#include "status/network_time.hpp"
#include "status/status_handler.hpp"
#include "status/status_messages.hpp"

using namespace std::chrono_literals;

namespace {

constexpr std::int64_t SECOND_US = 1'000'000;
constexpr std::int64_t NOON_2024_05_01 = 1'714'564'800 * SECOND_US;

class Status : public PublishingFixture {
protected:
    Status() { static_cast<void>(port->start()); }

    void registered(int status, std::uint32_t area)
    {
        registration::Update update;
        update.status = status;
        update.area = area;
        data.apply(registration::Domain::CS, update);
    }

    StatusHandler handler{port, &data, client, clock};
};

} // namespace

TEST(NetworkTime, TakesWholeHoursOffAndRefusesWhatIsNoTime)
{
    ::setenv("TZ", "UTC", 1); // NOLINT(concurrency-mt-unsafe): no other thread yet
    EXPECT_EQ(parse_network_time_us("\"24/05/01,12:00:00+00\""), NOON_2024_05_01);
    EXPECT_EQ(parse_network_time_us("24/05/01,13:00:00+04"), NOON_2024_05_01);
    EXPECT_EQ(parse_network_time_us("24/05/01,12:00:00+02"), NOON_2024_05_01); // half an hour is dropped
    EXPECT_EQ(parse_network_time_us("24/05/01,07:00:00-20"), NOON_2024_05_01);
    for (const char* text : {"", "\"", "80/01/06,00:00:11+00", "70/01/01,00:00:00+00", "04/01/01,00:00:00+00",
                             "14/12/31,23:59:59+00", "24/13/01,12:00:00+00", "24/05/01,12:00",
                             "24/05/01,12:00:00", "24/05/01,12:00:00*00", "24/05/01,12:00:00+",
                             "24-05/01,12:00:00+00", "24/05-01,12:00:00+00", "24/05/01 12:00:00+00",
                             "24/05/01,12-00:00+00", "24/05/01,12:00-00+00", "99999999999/1/1,1:1:1+1"}) {
        EXPECT_EQ(parse_network_time_us(text), std::nullopt) << text;
    }
}

TEST_F(Status, TellsTheHardwareAgainWhenALaterSetUpReadsMore)
{
    data.module.imei = "490154203237518";
    handler.update(false, false);
    data.module.model = "SARA-U201";
    handler.update(false, false);
    handler.update(false, false);
    EXPECT_EQ(published("system/modem/hardware"), 2U);
    EXPECT_EQ(published("rt/system/modem_imei"), 1U);
    data.module.imei = "490154203237519"; // another module
    handler.update(false, false);
    EXPECT_EQ(published("rt/system/modem_imei"), 2U);
}

TEST_F(Status, OperatorNamesMayHoldAnything)
{
    port->answers("+UDOPN=2", "+UDOPN: 2,\"A, \xff\nB\"");
    port->answers("+UDOPN=7", "+UDOPN: 7,");
    port->answers("+UDOPN=0", R"(+UDOPN: 0,"310410")");
    handler.update(true, false);
    EXPECT_EQ(data.operator_data.name, "A, \xef\xbf\xbd B");
    EXPECT_EQ(data.operator_data.sim_n, "");
    EXPECT_EQ(data.location.mcc, 310U);
    EXPECT_EQ(data.location.mnc, 410U);
    EXPECT_EQ(data.operator_data.id, "310410");
}

TEST_F(Status, NumbersThatAreNoEnumNeverEnterAMessage)
{
    data.nw_reg.c_reg = 77;
    data.nw_reg.ureg = -3;
    data.nw_reg.rat = 12;
    const auto message = status_messages::registration(data);
    EXPECT_EQ(message.registration_status(), ecu::kova::pb::ModemRegistration_RegistrationStatus_UNKNOWN);
    EXPECT_FALSE(message.has_ext_ps_reg_status());
    EXPECT_EQ(message.radio_access_technology(),
              ecu::kova::pb::ModemRegistration_RadioAccessTechnology_INVALID);
    EXPECT_FALSE(status_messages::status(data).location().has_cell_id()); // absent while unknown
    data.location.cell_id = 0x1c3;
    data.nw_reg.c_reg = 2;
    data.nw_reg.rat = 7;
    EXPECT_FALSE(status_messages::status(data).location().has_cell_id()); // the cell that was lost
    EXPECT_EQ(status_messages::registration(data).radio_access_technology(),
              ecu::kova::pb::ModemRegistration_RadioAccessTechnology_INVALID);
    data.nw_reg.c_reg = 5;
    EXPECT_EQ(status_messages::status(data).location().cell_id(), 0x1c3U);
    EXPECT_FALSE(status_messages::status(data).has_network_time_utc_us());
}

TEST_F(Status, EveryFieldOfTheRecordIsTold)
{
    registered(5, 2);
    data.nw_reg.cg_reg = 1;
    data.nw_reg.ce_reg = 2;
    data.nw_reg.ureg = 3;
    data.sim.internal = {defs::SimType::INTERNAL, "8949", "26201"};
    data.sim.external = {defs::SimType::EXTERNAL, "8944", "23415"};
    data.sim.active = defs::SimType::EXTERNAL;
    data.module = {"490154203237518", "u-blox", "SARA-U201"};
    data.operator_data = {"26201", "Home", "SIM home"};
    data.location = {262, 1, 17, 18, 19};
    data.time = {20, 21};
    data.antenna.rssi(0);
    data.antenna.signal_quality(defs::signal_quality_of(4));
    data.pb_state(ecu::kova::pb::ModemStatus_ModemState_CONNECTED);
    data.pb_reset_reason(ecu::kova::pb::ModemStatus_ModemResetReason_SIM_ERROR);
    const auto status = status_messages::status(data);
    EXPECT_TRUE(status.has_rssi()) << "the weakest there is";
    EXPECT_EQ(status.operator_id() + status.operator_name() + status.sim_operator_name(),
              "26201HomeSIM home");
    EXPECT_EQ(status.signal_quality(), 4);
    EXPECT_EQ(status.network_time_stamp_ns(), 21);
    const auto cards = status_messages::sim_information(data);
    ASSERT_EQ(cards.sim_size(), 2);
    EXPECT_EQ(cards.sim(0).iccid() + cards.sim(0).imsi(), "894926201");
    EXPECT_EQ(cards.sim(1).iccid() + cards.sim(1).imsi(), "894423415");
    EXPECT_EQ(status_messages::dump(data),
              "Modem Status: \n NETWORK Status data:\n c_reg: '5'\n cg_reg: '1'\n ce_reg: '2'\n ureg: '3'\n "
              "rat: '255'\n"
              " SIM data:\n iccid: '8944'\n imsi: '23415'\n"
              " MODEM data:\n imei: '490154203237518'\n manu: 'u-blox'\n model: 'SARA-U201'\n"
              " OPERATOR data:\n id: '26201'\n name: 'Home'\n sim_n: 'SIM home'\n"
              " LOCATION data:\n mcc: '262'\n mnc: '1'\n area_c: '17'\n cell_id: '18'\n r_ac: '19'\n"
              " TIME data:\n nw_utc: '20'\n ts_ns: '21'");
    EXPECT_EQ(data.nw_reg.text(), "    general CREG: ROAMING (5)\n    GPRS   CGREG: HOME (1)\n"
                                  "    LTE    CEREG: SEARCH (2)\n             RAT: INVALID (255)\n"
                                  "            UREG: WCDMA (3)\n");
}
