#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/scripted_port.hpp"
#include "variant/sara_modem.hpp"
#include "variant/toby_modem.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class Variant : public ::testing::Test {
protected:
    Variant() { static_cast<void>(port->start()); }

    LogCapture log;
    ManualClock clock;
    std::shared_ptr<ScriptedPort> port = std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::SARA);
    SaraModem sara{clock};
    TobyModem toby{clock};
};

} // namespace

TEST_F(Variant, ContextStateIsUnknownWithoutAnAnswer)
{
    port->answers("+CGACT?", "+CGACT: 1,0+CGACT: 2,1");
    EXPECT_EQ(sara.is_pdp_context_active(port), ContextState::INACTIVE);
    port->answers("+CGACT?", "");
    EXPECT_EQ(sara.is_pdp_context_active(port), ContextState::INACTIVE);
    port->is_silent("+CGACT?");
    EXPECT_EQ(sara.is_pdp_context_active(port), ContextState::UNKNOWN);
}

TEST_F(Variant, SaraAsksForItsBackOffOnceAnInterval)
{
    BackoffQuerySchedule schedule;
    EXPECT_FALSE(sara.check_backoff_timer(port, 30, schedule).queried);
    clock.advance(29s);
    EXPECT_FALSE(sara.check_backoff_timer(port, 30, schedule).queried);
    EXPECT_EQ(port->count("+UNFM?"), 0U);
    clock.advance(1s);
    port->answers("+UNFM?", "+UNFM: 1,1,0,77,12,0");
    EXPECT_EQ(sara.check_backoff_timer(port, 30, schedule).remaining_s, 77);
    EXPECT_FALSE(sara.check_backoff_timer(port, 30, schedule).queried);
    EXPECT_FALSE(toby.check_backoff_timer(port, 0, schedule).queried);
    EXPECT_EQ(log.count("Mode not enable on Toby"), 1U);
}
