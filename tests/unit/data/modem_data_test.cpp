#include "at/registration_lines.hpp"
#include "data/modem_data.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

#include <sstream>

using registration::Domain;

namespace {

/// What the record says behind a report: the statuses and which decides, the technology, and the place in
/// hexadecimal.
std::string heard(ModemData& data, const std::string& line)
{
    for (const Domain domain : {Domain::CS, Domain::PS, Domain::EPS}) {
        if (const auto update = registration::parse_urc(domain, line)) {
            data.apply(domain, *update);
        }
    }
    const auto& network = data.nw_reg;
    std::ostringstream text;
    text << network.c_reg << ',' << network.cg_reg << ',' << network.ce_reg << " -> "
         << network.deciding_status() << (network.is_registered() ? " registered" : "")
         << (network.packet_domain_usable() ? " usable" : "") << ": " << network.rat << std::hex << ' '
         << data.location.area_c << ' ' << data.location.cell_id << ' ' << data.location.r_ac;
    return text.str();
}

} // namespace

TEST(ModemDataTest, ARegisteredDomainThatKnowsIsNotOverriddenByOneThatIsNot)
{
    ModemData data;
    const std::pair<const char*, const char*> lines[] = {
        {"+CREG: 2", "2,4,4 -> 2: 255 0 0 0"},
        // nobody is registered: the latest news
        {R"(+CREG: 2,"AA","1",0)", "2,4,4 -> 2: 0 aa 1 0"},
        {R"(+CGREG: 8,"BB","2",3,"5")", "2,8,4 -> 2: 3 bb 2 5"},
        {R"(+CGREG: 1,"1A2B","01C3",2,"3")", "2,1,4 -> 1 usable: 2 1a2b 1c3 3"},
        {"+CGREG: 5", "2,5,4 -> 5 usable: 2 1a2b 1c3 3"}, // a short form keeps the place,
        {R"(+CREG: 0,"FF","FF",0)", "0,5,4 -> 5 usable: 2 1a2b 1c3 3"},
        // the old technology is not this cell's
        {R"(+CGREG: 1,"1A2C","01C4",)", "0,1,4 -> 1 usable: 255 1a2c 1c4 0"},
        {R"(+CREG: 2,"AA","1",0)", "2,1,4 -> 1 usable: 255 1a2c 1c4 0"},
        // EPS tells before GPRS, and that before circuit-switched, as far as they know
        {R"(+CREG: 6,"AB","2",6)", "6,1,4 -> 6 registered usable: 6 1a2c 1c4 0"},
        {R"(+CEREG: 9,"1A2D","01C5",255)", "6,1,9 -> 6 registered usable: 6 1a2d 1c5 0"},
        {R"(+CEREG: 10,"1A2D","01C5",7)", "6,1,10 -> 6 registered usable: 7 1a2d 1c5 0"},
        {R"(+CEREG: 1,"1A2E")", "6,1,1 -> 6 registered usable: 7 1a2e 1c5 0"},
        {"+CGREG: 3", "6,3,1 -> 6 registered usable: 7 1a2e 1c5 0"},
        {"+CREG: 3", "3,3,1 -> 1 usable: 7 1a2e 1c5 0"},
        {"+CREG: 7", "7,3,1 -> 7 registered usable: 7 1a2e 1c5 0"},
        {R"(+CEREG: 2,"","")", "7,3,2 -> 7 registered: 6 ab 2 0"},
        {R"(+CREG: 3,"","")", "3,3,2 -> 3: 6 0 0 0"}, // an empty place clears it
    };
    for (const auto& [line, record] : lines) {
        EXPECT_EQ(heard(data, line), record) << line;
    }
    data.operator_data = {"26201", "Home", "SIM"};
    data.module.imei = "490154203237518";
    data.antenna.signal_quality(defs::SignalQuality::BELOW_57);
    EXPECT_EQ(data.antenna.signal_quality(), defs::SignalQuality::BELOW_57);
    data.antenna.rssi(20);
    data.antenna.forget();
    EXPECT_EQ(data.antenna.signal_quality(), defs::SignalQuality::UNKNOWN);
    EXPECT_EQ(data.antenna.rssi(), -1);
    data.reset();
    EXPECT_EQ(data.operator_data.id + data.operator_data.name + data.operator_data.sim_n, "");
    EXPECT_EQ(data.module.imei, "490154203237518");
    EXPECT_EQ(heard(data, "+CGREG: 1"),
              "4,1,4 -> 1 usable: 255 0 0 0"); // what the old cell was is forgotten too
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
