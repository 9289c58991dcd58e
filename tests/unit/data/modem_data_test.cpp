#include "at/registration_lines.hpp"
#include "data/modem_data.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

#include <sstream>

using registration::Domain;

namespace {

/// What the record says behind a report: statuses, the technology, and the place in hexadecimal.
std::string heard(ModemData& data, const std::string& line)
{
    for (const Domain domain : {Domain::CS, Domain::PS, Domain::EPS}) {
        if (const auto update = registration::parse_urc(domain, line)) {
            data.apply(domain, *update);
        }
    }
    std::ostringstream text;
    text << data.nw_reg.c_reg << data.nw_reg.cg_reg << data.nw_reg.ce_reg << ' ' << data.nw_reg.rat
         << std::hex << ' ' << data.location.area_c << ' ' << data.location.cell_id << ' '
         << data.location.r_ac;
    return text.str();
}

} // namespace

TEST(ModemDataTest, ARegisteredDomainThatKnowsIsNotOverriddenByOneThatIsNot)
{
    ModemData data;
    const std::pair<const char*, const char*> lines[] = {
        {"+CREG: 2", "244 255 0 0 0"},
        {R"(+CREG: 2,"AA","1",0)", "244 0 aa 1 0"},      // nobody is registered: the latest news
        {R"(+CGREG: 0,"BB","2",3,"5")", "204 3 bb 2 5"}, // likewise
        {R"(+CGREG: 1,"1A2B","01C3",2,"3")", "214 2 1a2b 1c3 3"},
        {"+CGREG: 5", "254 2 1a2b 1c3 3"}, // a short form keeps the place,
        {R"(+CREG: 2,"FF","FF",0)", "254 2 1a2b 1c3 3"},
        {R"(+CGREG: 1,"1A2C","01C4",)", "214 255 1a2c 1c4 0"}, // the old technology is not this cell's
        {R"(+CREG: 2,"AA","1",0)", "214 255 1a2c 1c4 0"},
        {R"(+CREG: 1,"AB","2",6)", "114 6 1a2c 1c4 0"},         // GPRS before circuit-switched
        {R"(+CEREG: 1,"1A2D","01C5",255)", "111 6 1a2d 1c5 0"}, // and EPS before both
        {R"(+CEREG: 1,"1A2D","01C5",7)", "111 7 1a2d 1c5 0"},
        {R"(+CEREG: 1,"1A2E")", "111 7 1a2e 1c5 0"}, // not told: as it was
        {R"(+CEREG: 2,"","")", "112 6 1a2c 1c4 0"},
        {R"(+CGREG: 2,"","")", "122 6 ab 2 0"},
        {R"(+CREG: 3,"","")", "322 6 0 0 0"}, // an empty one clears it
    };
    for (const auto& [line, record] : lines) {
        EXPECT_EQ(heard(data, line), record) << line;
    }
    data.operator_data = {"26201", "Home", "SIM"};
    data.module.imei = "490154203237518";
    data.reset();
    EXPECT_EQ(data.operator_data.id + data.operator_data.name + data.operator_data.sim_n, "");
    EXPECT_EQ(data.module.imei, "490154203237518");
    EXPECT_EQ(heard(data, "+CGREG: 1"), "414 255 0 0 0"); // what the old cell was is forgotten too
}

TEST(ModemDataTest, ARegisteredDomainDecides)
{
    struct {
        int statuses[3]; // CS, PS, EPS
        int deciding;
        bool registered, usable;
    } const table[] = {{{0, 4, 1}, 1, false, true},   {{0, 5, 1}, 5, false, true},
                       {{6, 1, 5}, 6, true, true},    {{2, 0, 3}, 2, false, false},
                       {{7, 2, 2}, 7, true, false},   {{9, 8, 8}, 9, true, false},
                       {{10, 4, 4}, 10, true, false}, {{8, 4, 10}, 10, false, true}};
    for (const auto& row : table) {
        ModemData::NwRegStatus status{row.statuses[0], row.statuses[1], row.statuses[2]};
        EXPECT_EQ(status.deciding_status(), row.deciding) << status.text();
        EXPECT_EQ(status.is_registered(), row.registered) << status.text();
        EXPECT_EQ(status.packet_domain_usable(), row.usable) << status.text();
    }
}

TEST(ModemDataTest, KeepsCardsAndAntennaApart)
{
    ModemData data;
    for (const auto type : {defs::SimType::INTERNAL, defs::SimType::EXTERNAL}) {
        data.sim.of(type).iccid = defs::to_str(type);
        EXPECT_EQ(std::as_const(data.sim).of(type).type, type);
        EXPECT_EQ(std::as_const(data.sim).of(type).iccid, defs::to_str(type));
    }
    ModemData::Sim other = data.sim.internal;
    EXPECT_TRUE(other == data.sim.internal);
    other.imsi = "1";
    EXPECT_TRUE(other != data.sim.internal && data.sim.external != data.sim.internal);
    data.antenna.signal_quality(defs::SignalQuality::BELOW_57);
    data.antenna.rssi(20);
    EXPECT_EQ(data.antenna.signal_quality(), defs::SignalQuality::BELOW_57);
    data.antenna.forget();
    EXPECT_EQ(data.antenna.signal_quality(), defs::SignalQuality::UNKNOWN);
    EXPECT_EQ(data.antenna.rssi(), -1);
}

TEST(ModemDataTest, LogsChangesOfThePublishedStateOnly)
{
    const LogCapture log;
    ModemData data;
    for (int i = 0; i < 2; ++i) {
        data.pb_state(ecu::kova::pb::ModemStatus_ModemState_CONNECTED);
        data.pb_reset_reason(ecu::kova::pb::ModemStatus_ModemResetReason_SIM_ERROR);
    }
    EXPECT_EQ(data.pb_state(), ecu::kova::pb::ModemStatus_ModemState_CONNECTED);
    EXPECT_EQ(data.pb_reset_reason(), ecu::kova::pb::ModemStatus_ModemResetReason_SIM_ERROR);
    EXPECT_EQ(log.count("change pb_state from 'UNKNOWN' to 'CONNECTED'"), 1U);
    EXPECT_EQ(log.count("Set reset reason from 'NONE' to 'SIM_ERROR'"), 1U);
    EXPECT_EQ(log.records().size(), 2U);
}

TEST(Defs, TextsOfNumbersOutOfRangeAndBack)
{
    std::string qualities;
    for (int number = -2; number <= 6; ++number) {
        qualities += std::string(defs::to_str(defs::signal_quality_of(number))) + ';';
    }
    EXPECT_EQ(qualities,
              "Unknown;Unknown;< -105 dBm;< -93 dBm;< -81 dBm;< -69 dBm;< -57 dBm;>= -57 dBm;Unknown;");
    EXPECT_STREQ(defs::to_str(static_cast<defs::NwFriendlyModeType>(-1)), "NONE");
    EXPECT_EQ(defs::from_str("pap", defs::ApnAuthenticationType::NONE), defs::ApnAuthenticationType::PAP);
    EXPECT_EQ(defs::from_str("ENABLE", defs::SimState::AUTO), defs::SimState::ENABLE);
    EXPECT_EQ(defs::from_str("x", defs::SimState::AUTO), std::nullopt);
    EXPECT_EQ(defs::text_of(defs::RAT_ENUM_MAP, 42), "42");
    EXPECT_EQ(defs::CAUSE_ENUM_MAP.size(), 35U);
}
