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

    ManualClock clock;
    std::shared_ptr<ScriptedPort> port = std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::SARA);
    ModemData data;
    SimHandler handler{port, &data, clock};
};

} // namespace

TEST_F(Sim, CountsErrorsButNoTimeOutsAndForgivesTheExternalCardOnly)
{
    ASSERT_TRUE(handler.sim_selection(SimType::EXTERNAL));
    port->is_silent("+CPIN?");
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 0);
    port->fails("+CPIN?", "+CME ERROR: SIM busy");
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 1);
    port->answers("+CPIN?", "+CPIN: READY");
    EXPECT_TRUE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 0);

    ASSERT_TRUE(handler.sim_selection(SimType::INTERNAL));
    handler.forget_ready();
    port->fails("+CPIN?", "ERROR");
    EXPECT_FALSE(handler.sim_ready());
    port->answers("+CPIN?", "+CPIN: READY");
    EXPECT_TRUE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 1);
}

TEST_F(Sim, TakesNoGarbageForACardInTheHolder)
{
    for (const auto& [answer, present, asked] : {std::tuple{"+UGPIOR: 42,0", false, 1U},
                                                 {"+UGPIOR:42, \"1\"", true, 1U},
                                                 {"+UGPIOR: 42,2", false, 1U},
                                                 {"+UGPIOR: 42", false, 3U},
                                                 {"", false, 3U}}) { // these were none
        port->forget();
        port->answers("+UGPIOR=42", answer);
        EXPECT_EQ(handler.is_external_simcard_present(), present) << answer;
        EXPECT_EQ(port->count("+UGPIOR=42"), asked) << answer;
    }
}
