#include "sim/sim_handler.hpp"
#include "support/manual_clock.hpp"
#include "support/scripted_port.hpp"
#include "variant/sara_modem.hpp"

#include <gtest/gtest.h>

#include <tuple>

using defs::SimType;

namespace {

class Sim : public ::testing::Test {
protected:
    Sim()
    {
        static_cast<void>(port->start());
        handler.variant(std::make_shared<SaraModem>(clock));
        handler.bus(ecu::kova::com::create_client({}, ecu::kova::com::TransportType::IN_PROCESS));
    }

    void select(SimType type)
    {
        ASSERT_TRUE(handler.sim_selection(type));
        port->forget();
    }

    ManualClock clock;
    std::shared_ptr<ScriptedPort> port = std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::SARA);
    ModemData data;
    SimHandler handler{port, &data, clock};
};

} // namespace

TEST_F(Sim, CountsErrorsButNoTimeOutsAndForgivesTheExternalCardOnly)
{
    select(SimType::EXTERNAL);
    port->is_silent("+CPIN?");
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 0);
    port->fails("+CPIN?", "+CME ERROR: SIM busy");
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 1);
    port->answers("+CPIN?", "+CPIN: READY");
    EXPECT_TRUE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 0);

    select(SimType::INTERNAL);
    handler.forget_ready();
    port->fails("+CPIN?", "ERROR");
    EXPECT_FALSE(handler.sim_ready());
    port->answers("+CPIN?", "+CPIN: READY");
    EXPECT_TRUE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 1);
}

TEST_F(Sim, AsksThreeTimesForTheHolderBeforeItCountsAsEmpty)
{
    port->fails("+UGPIOR=42", "+CME ERROR: busy");
    const auto begin = clock.now();
    EXPECT_FALSE(handler.is_external_simcard_present());
    EXPECT_EQ(port->count("+UGPIOR=42"), 3U);
    EXPECT_EQ(clock.now() - begin, std::chrono::seconds(2));
    port->on("+UGPIOR=42", [this] {
        if (port->count("+UGPIOR=42") == 5) {
            port->answers("+UGPIOR=42", "+UGPIOR: 42,1");
        }
    });
    EXPECT_TRUE(handler.is_external_simcard_present());
    const std::tuple<const char*, bool, std::size_t> answers[] = {
        {"+UGPIOR: 42,0", false, 1},
        {"+UGPIO: 042,001", true, 1},
        {"+UGPIOR:42, \"1\"", true, 1},
        {"+UGPIOR: 42,2", false, 1},
        {"+UGPIOR: 42,1x", false, 3},
        {"+UGPIOR: 42", false, 3},
        {"", false, 3}, // these were none
    };
    for (const auto& [answer, present, asked] : answers) {
        port->forget();
        port->answers("+UGPIOR=42", answer);
        EXPECT_EQ(handler.is_external_simcard_present(), present) << answer;
        EXPECT_EQ(port->count("+UGPIOR=42"), asked) << answer;
    }
}

TEST_F(Sim, ReadsAnIdentityThatIsOneAndNothingElse)
{
    port->answers("+CPIN?", "+CPIN: READY");
    struct {
        const char* ccid;
        const char* iccid;
        const char* cimi;
        const char* imsi;
    } const cards[] = {
        {"AT+CCID\r+CCID: 894901001000000001F", "894901001000000001", "AT+CIMI\r001010000000001",
         "001010000000001"},
        {"+CCID:\"8949010010000000017f\"", "8949010010000000017", "0010100000", "0010100000"},
        {"89490100100000000017", "89490100100000000017", "001010000", ""},
        {"+CCID: 89490100100000000FF", "", "+CIMI: 0010100000000017", ""},
        {"+CCID: 8949010010A00000017", "", "00101F000000001", ""},
        {"+CCID: 894901001000000001FA", "", "001010000000001X", ""},
        {"+CCID: 894901001000000000017", "", "", ""},
    };
    for (const auto& card : cards) {
        SCOPED_TRACE(card.ccid);
        select(SimType::INTERNAL);
        port->answers("+CCID", card.ccid);
        port->answers("+CIMI", card.cimi);
        handler.card_removed();
        port->forget();
        const auto begin = clock.now();
        EXPECT_TRUE(handler.sim_ready());
        const bool whole =
            *card.iccid != '\0' && *card.imsi != '\0'; // asked until it is, three times at most
        EXPECT_EQ(port->count("+CCID"), whole ? 1U : 3U);
        EXPECT_EQ(clock.now() - begin, std::chrono::seconds(whole ? 0 : 2));
        EXPECT_EQ(data.sim.internal.iccid, card.iccid);
        EXPECT_EQ(data.sim.internal.imsi, card.imsi);
    }
}
