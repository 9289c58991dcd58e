#include "publishing_fixture.hpp"
#include "status/network_time.hpp"
#include "status/status_handler.hpp"
#include "status/status_messages.hpp"

namespace {

constexpr std::int64_t SECOND_US = 1'000'000;
constexpr std::int64_t NOON_2024_05_01 = 1'714'564'800 * SECOND_US;

class Status : public PublishingFixture {
protected:
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
    data.antenna.rssi(0);
    EXPECT_TRUE(status_messages::status(data).has_rssi()) << "the weakest there is";
}
