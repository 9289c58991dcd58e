#include "at/registration_lines.hpp"
#include "data/modem_data.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

#include <tuple>

using registration::Domain;

namespace {

void hear(ModemData& data, Domain domain, const char* line)
{
    const auto update = registration::parse_urc(domain, line);
    ASSERT_TRUE(update) << line;
    data.apply(domain, *update);
}

} // namespace

TEST(ModemDataTest, ADomainThatIsUpIsNotOverriddenByOneThatIsNot)
{
    ModemData data;
    hear(data, Domain::EPS, R"(+CEREG: 1,"1A2B","01C3",7)");
    hear(data, Domain::CS, R"(+CREG: 0,"FFFF","FFFFFFFF",0)");
    EXPECT_EQ(data.nw_reg.rat, 7);
    EXPECT_EQ(data.location.cell_id, 0x1c3U);
    EXPECT_EQ(data.nw_reg.deciding_status(), 1);
    EXPECT_FALSE(data.nw_reg.is_registered()); // looks at the circuit-switched domain alone
    EXPECT_TRUE(data.nw_reg.packet_domain_usable());
}

TEST(ModemDataTest, ATechnologyThatIsNotKnownIsNewsUnlessAnotherRegisteredDomainKnows)
{
    ModemData data;
    const std::tuple<Domain, const char*, int> lines[] = {
        {Domain::PS, R"(+CGREG: 1,"1A2B","01C3",2)", 2},
        {Domain::PS, R"(+CGREG: 1,"1A2C","01C4",)", 255}, // the old one is not this cell's
        {Domain::CS, R"(+CREG: 2,"1A2B","01C3",0)", 255},
        {Domain::CS, R"(+CREG: 1,"1A2C","01C4",6)", 6},
        {Domain::EPS, R"(+CEREG: 1,"1A2C","01C4",255)", 6},
        {Domain::EPS, R"(+CEREG: 1,"1A2C","01C4",7)", 7},
        {Domain::EPS, R"(+CEREG: 1,"1A2D","01C5")", 7}, // not told: as it was
    };
    for (const auto& [domain, line, technology] : lines) {
        hear(data, domain, line);
        EXPECT_EQ(data.nw_reg.rat, technology) << line;
    }
}

TEST(ModemDataTest, AShortFormKeepsThePlaceAndAnEmptyOneClearsIt)
{
    ModemData data;
    hear(data, Domain::PS, R"(+CGREG: 1,"1A2B","01C3",2,3)");
    hear(data, Domain::PS, "+CGREG: 5");
    EXPECT_EQ(data.location.area_c, 0x1a2bU);
    EXPECT_EQ(data.location.r_ac, 3U);
    EXPECT_EQ(data.nw_reg.rat, 2);
    hear(data, Domain::PS, R"(+CGREG: 2,"","")");
    EXPECT_EQ(data.location.area_c, 0U);
    EXPECT_EQ(data.location.cell_id, 0U);
    EXPECT_EQ(data.location.r_ac, 0U);
}

TEST(ModemDataTest, ResetForgetsTheNetworkAndKeepsTheModule)
{
    ModemData data;
    hear(data, Domain::CS, R"(+CREG: 1,"1A2B","01C3",2)");
    data.operator_data = {"26201", "Home", "SIM"};
    data.module.imei = "490154203237518";
    data.reset();
    EXPECT_EQ(data.nw_reg.c_reg, 4);
    EXPECT_EQ(data.nw_reg.rat, 255);
    EXPECT_EQ(data.operator_data.name, "");
    EXPECT_EQ(data.location.cell_id, 0U);
    EXPECT_EQ(data.module.imei, "490154203237518");
    hear(data, Domain::PS, "+CGREG: 1"); // what the old cell was is forgotten too
    EXPECT_EQ(data.location.cell_id, 0U);
}

TEST(ModemDataTest, LogsChangesOfThePublishedStateOnly)
{
    LogCapture log;
    ModemData data;
    data.pb_state(ecu::kova::pb::ModemStatus_ModemState_CONNECTED);
    data.pb_state(ecu::kova::pb::ModemStatus_ModemState_CONNECTED);
    data.pb_reset_reason(ecu::kova::pb::ModemStatus_ModemResetReason_SIM_ERROR);
    EXPECT_EQ(log.count("change pb_state from 'UNKNOWN' to 'CONNECTED'"), 1U);
    EXPECT_EQ(log.count("Set reset reason from 'NONE' to 'SIM_ERROR'"), 1U);
    EXPECT_EQ(log.records().size(), 2U);
}

TEST(Defs, TextsOfNumbersOutOfRangeAndBack)
{
    EXPECT_STREQ(defs::to_str(static_cast<defs::SignalQuality>(6)), "Unknown");
    EXPECT_STREQ(defs::to_str(static_cast<defs::NwFriendlyModeType>(-1)), "NONE");
    EXPECT_EQ(defs::from_str("pap", defs::ApnAuthenticationType::NONE), defs::ApnAuthenticationType::PAP);
    EXPECT_EQ(defs::from_str("ENABLE", defs::SimState::AUTO), defs::SimState::ENABLE);
    EXPECT_EQ(defs::from_str("x", defs::SimState::AUTO), std::nullopt);
    EXPECT_EQ(defs::text_of(defs::RAT_ENUM_MAP, 42), "42");
    EXPECT_EQ(defs::CAUSE_ENUM_MAP.size(), 35U);
}
