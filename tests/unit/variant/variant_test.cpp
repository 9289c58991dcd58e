#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/scripted_port.hpp"
#include "variant/sara_modem.hpp"
#include "variant/toby_modem.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

/// Lines that only remember.
class Lines : public GpioCtrl {
public:
    explicit Lines(Clock& clock) : GpioCtrl(clock) {}
    bool sim_lock_active() override { return false; }
    bool vcc(const PinValue& value) const override { return note("VCC", value); }
    bool pwron(const PinValue& value) const override { return note("PWRON", value); }
    bool reset(const PinValue& value) const override { return note("RESET", value); }
    PinValue vint() const override { return level; }
    const Pins& gpios() const override { return pins_; }

    mutable std::string written;
    PinValue level = PinValue::HIGH;

private:
    bool note(const char* name, PinValue value) const
    {
        written += std::string(name) + "=" + std::to_string(static_cast<int>(value)) + " ";
        return true;
    }
    Pins pins_;
};

class Variant : public ::testing::Test {
protected:
    Variant()
    {
        static_cast<void>(sara_port->start());
        static_cast<void>(toby_port->start());
    }
    static std::string text(const ModemVariant::Commands& commands)
    {
        std::string joined;
        for (const auto& command : commands) {
            joined += command.command + "\n";
        }
        return joined;
    }

    LogCapture log;
    ManualClock clock;
    std::shared_ptr<ScriptedPort> sara_port =
        std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::SARA);
    std::shared_ptr<ScriptedPort> toby_port =
        std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::TOBY);
    std::shared_ptr<Lines> lines = std::make_shared<Lines>(clock);
    SaraModem sara{clock};
    TobyModem toby{clock};
};

} // namespace

TEST_F(Variant, SaraPowersOffWithItsPortGoneOrNot)
{
    sara_port->on("+CPWROFF", [this] { sara_port->present(false); });
    sara.power_off(lines, sara_port);
    EXPECT_EQ(lines->written, "PWRON=1 VCC=0 ");
    sara_port->forget();
    sara.power_off(lines, sara_port);
    EXPECT_TRUE(sara_port->sent().empty()); // nobody to ask
    EXPECT_EQ(log.count("CPWROFF didn't seem"), 0U);
    sara_port->present(true);
    sara.power_off(lines, sara_port);
    EXPECT_EQ(log.count("CPWROFF didn't seem to have succeded, continue anyway "), 1U);
}

TEST_F(Variant, TobyRemovesTheSupplyEvenOfAModuleThatStaysAlive)
{
    ModemVariant::power_on(lines);
    EXPECT_EQ(lines->written, "PWRON=0 RESET=0 VCC=1 PWRON=1 ");
    lines->written.clear();
    toby.power_off(lines, toby_port);
    EXPECT_EQ(lines->written, "RESET=1 VCC=0 ");
    lines->written.clear();
    lines->level = GpioCtrl::PinValue::LOW;
    const auto before = clock.now();
    toby.power_off(lines, toby_port);
    EXPECT_EQ(lines->written, "RESET=1 VCC=0 ");
    EXPECT_EQ(clock.now() - before, 37s);
    EXPECT_EQ(log.count("fallback to reset via GPIO"), 1U);
}

TEST_F(Variant, ContextsAreSetUpInTheFamilysWords)
{
    EXPECT_EQ(text(sara.context_setup_sequence("net", "", "unused")), "+CGDCONT=1,\"IP\",\"net\"\n"
                                                                      "+UAUTHREQ=1,0,\"\",\"\"\n");
    EXPECT_EQ(text(sara.context_setup_sequence("net:CHAP", "me", "word")), "+CGDCONT=1,\"IP\",\"net\"\n"
                                                                           "+UAUTHREQ=1,1,\"me\",\"word\"\n");
    EXPECT_EQ(text(toby.context_setup_sequence("net:chap", "me", "word")),
              "+CGDCONT=1,\"IP\",\"net\"\n"
              "+UCGDFLT=1,\"IP\",\"net\",0,0,0,0,0,0,0,0,0,1,0,0,1,0,0,0,0,2,\"me\",\"word\"\n"
              "+UAUTHREQ=1,2,\"me\",\"word\"\n");
    EXPECT_EQ(log.count("Unable to extract ApnAuthenticationType"), 0U);
    toby.context_setup_sequence("net", "", "");
    EXPECT_EQ(log.count("Unable to extract ApnAuthenticationType from APN net use default: NONE"), 1U);
    EXPECT_EQ(log.count("User and password are not used"), 0U);
    toby.context_setup_sequence("net", "me", "");
    toby.context_setup_sequence("net", "", "word");
    EXPECT_EQ(log.count("the APN names no authentication (net:PAP or net:CHAP would)"), 1U);
}

TEST_F(Variant, EthernetIsConfiguredOnlyWhereTheRouterAddressIsMissing)
{
    EXPECT_FALSE(toby.setup_eth_over_usb(toby_port)); // there already
    // The pool address begins with the router's.
    toby_port->answers("+UIPCONF?",
                       R"(+UIPCONF: "192.168.1.1","255.255.255.0","192.168.234.100","192.168.234.100")");
    const char* const set =
        R"(+UIPCONF="192.168.234.1","255.255.255.0","192.168.234.100","192.168.234.100",)";
    toby_port->answers(set, "");
    EXPECT_TRUE(toby.setup_eth_over_usb(toby_port));
    toby_port->fails(set, "ERROR");
    EXPECT_FALSE(toby.setup_eth_over_usb(toby_port));
    toby_port->fails("+UIPCONF?", "ERROR");
    EXPECT_FALSE(toby.setup_eth_over_usb(toby_port));
    EXPECT_FALSE(sara.setup_eth_over_usb(sara_port));
}

TEST_F(Variant, ActivationTellsItsFailuresApart)
{
    EXPECT_EQ(sara.activate_pdp_context(sara_port), ActivationCode::ACTIVATED);
    sara_port->fails("+UCEDATA=1,0", "+CME ERROR: Requested service option: Service not subscribed");
    EXPECT_EQ(sara.activate_pdp_context(sara_port), ActivationCode::NOT_SUBSCRIBED);
    sara_port->fails("+UCEDATA=1,0", "+CME ERROR: CDC-ECM is busy");
    EXPECT_EQ(sara.activate_pdp_context(sara_port), ActivationCode::CDC_ECM_BUSY);
    toby_port->fails("+CGACT=1,1", "+CME ERROR: CDC-ECM is busy");
    EXPECT_EQ(toby.activate_pdp_context(toby_port), ActivationCode::OTHER_FAILURE);
}

TEST_F(Variant, ContextStateIsUnknownWithoutAnAnswer)
{
    sara_port->answers("+CGACT?", "+CGACT: 1,0+CGACT: 2,1");
    EXPECT_EQ(sara.is_pdp_context_active(sara_port), ContextState::INACTIVE);
    sara_port->answers("+CGACT?", "");
    EXPECT_EQ(sara.is_pdp_context_active(sara_port), ContextState::INACTIVE);
    sara_port->is_silent("+CGACT?");
    EXPECT_EQ(sara.is_pdp_context_active(sara_port), ContextState::UNKNOWN);
}

TEST_F(Variant, SaraAsksForItsBackOffOnceAnInterval)
{
    BackoffQuerySchedule schedule;
    EXPECT_FALSE(sara.check_backoff_timer(sara_port, 30, schedule).queried);
    clock.advance(29s);
    EXPECT_FALSE(sara.check_backoff_timer(sara_port, 30, schedule).queried);
    EXPECT_EQ(sara_port->count("+UNFM?"), 0U);
    clock.advance(1s);
    sara_port->answers("+UNFM?", "+UNFM: 1,1,0,77,12,0");
    EXPECT_EQ(sara.check_backoff_timer(sara_port, 30, schedule).remaining_s, 77);
    EXPECT_FALSE(sara.check_backoff_timer(sara_port, 30, schedule).queried);
    EXPECT_FALSE(toby.check_backoff_timer(toby_port, 0, schedule).queried);
    EXPECT_EQ(log.count("Mode not enable on Toby"), 1U);
}
