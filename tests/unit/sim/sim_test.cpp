#include "sim/sim_handler.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/scripted_port.hpp"
#include "variant/sara_modem.hpp"

#include <ecu/kova/com/in_process_bus.hpp>
#include <ecu/kova/rt/signal_adapter.hpp>
#include <gtest/gtest.h>

#include <tuple>

using defs::SimType;
namespace bus = ecu::kova::com::in_process;

namespace {

/// A board whose SIM-lock input the test sets.
class Board : public GpioCtrl {
public:
    explicit Board(Clock& clock) : GpioCtrl(clock) {}
    bool sim_lock_active() override { return lock; }
    bool vcc(const PinValue&) const override { return true; }
    bool pwron(const PinValue&) const override { return true; }
    bool reset(const PinValue&) const override { return true; }
    PinValue vint() const override { return PinValue::LOW; }
    const Pins& gpios() const override { return pins_; }

    bool lock = true; // low active: the internal SIM

private:
    Pins pins_;
};

SimAccess access(defs::SimState state, const std::string& pin = {})
{
    SimConfiguration configuration;
    configuration.state = state;
    configuration.pin = pin;
    return SimAccess(std::move(configuration));
}

class Sim : public ::testing::Test {
protected:
    Sim()
    {
        bus::reset();
        static_cast<void>(port->start());
        handler.variant(std::make_shared<SaraModem>(clock));
        handler.bus(ecu::kova::com::create_client({}, ecu::kova::com::TransportType::IN_PROCESS));
        data.external_sim = access(defs::SimState::AUTO, "1234");
        port->answers("+UPINCNT", "+UPINCNT: 3,3,10,10");
        port->answers("+CPIN=\"1234\"", "");
        port->answers("+CPIN?", "+CPIN: SIM PIN");
    }

    void select(SimType type)
    {
        ASSERT_TRUE(handler.sim_selection(type));
        port->forget();
    }
    /// Whether the bus was last told that the card is locked.
    bool locked_on_bus()
    {
        bus::settle(std::chrono::seconds(5));
        const auto message = bus::last("rt/system/status_ext_sim_card_pin_locked");
        const auto group = ecu::kova::rt::SignalAdapter::instance().unpack(message.value());
        return group.value().signal("status_ext_sim_card_pin_locked")->front() == 1;
    }

    LogCapture log;
    ManualClock clock;
    std::shared_ptr<ScriptedPort> port = std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::SARA);
    std::shared_ptr<Board> board = std::make_shared<Board>(clock);
    std::shared_ptr<GpioCtrl> gpio = board;
    ModemData data;
    SimHandler handler{port, &data, clock};
};

} // namespace

TEST_F(Sim, NeverEntersAPinThatCouldLockTheCard)
{
    select(SimType::EXTERNAL);
    struct Case {
        const char* attempts;
        bool locked;
        int errors;
    };
    const Case cases[] = {
        {"+UPINCNT: 1,3,10,10", true, 0}, {"+UPINCNT: 0,3,10,10", true, 0},
        {"+UPINCNT:001,3", true, 0},      {"+UPINCNT: x,3,10,10", false, 1},
        {"+UPINCNT: -3,3", false, 1},     {"+UPINCNT: 99999999999,3", false, 1},
        {"+UPINCNT: ", false, 1},
    };
    for (const auto& c : cases) {
        port->answers("+UPINCNT", c.attempts);
        handler.clear_errors();
        EXPECT_FALSE(handler.sim_ready()) << c.attempts;
        EXPECT_EQ(locked_on_bus(), c.locked) << c.attempts;
        EXPECT_EQ(handler.error_counter(), c.errors) << c.attempts;
    }
    port->fails("+UPINCNT", "ERROR");
    handler.clear_errors();
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(handler.error_counter(), 1);
    handler.clear_errors();
    port->answers("+UPINCNT", "+UPINCNT: 3,3,10,10");
    data.external_sim = {};
    EXPECT_FALSE(handler.sim_ready());
    for (const char* state : {"+CPIN: SIM PIN2", "+CPIN: PH-SIM PIN", "+CPIN: SIM PUK"}) {
        port->answers("+CPIN?", state);
        EXPECT_FALSE(handler.sim_ready()) << state;
    }
    EXPECT_TRUE(locked_on_bus());          // by the PUK
    EXPECT_EQ(handler.error_counter(), 0); // what waits for a person is no fault of the card
    EXPECT_EQ(port->count("+CPIN=\"1234\""), 0U);
    EXPECT_EQ(port->count("+CPIN=\"\""), 0U);
    EXPECT_EQ(data.pb_state(), ecu::kova::pb::ModemStatus_ModemState_LOCKED);
}

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

TEST_F(Sim, ACardThatIsGoneIsNoLongerPublishedAndIsSelectedAnew)
{
    port->answers("+CPIN?", "+CPIN: READY");
    board->lock = false;
    ASSERT_TRUE(handler.handle_sim_change(gpio));
    ASSERT_TRUE(handler.sim_ready());
    handler.forget_ready();
    port->fails("+CPIN?", "+CME ERROR: SIM not inserted");
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(data.sim.external.iccid, "");
    EXPECT_EQ(handler.current_type(), SimType::NONE);
    EXPECT_TRUE(handler.handle_sim_change(gpio));
    EXPECT_EQ(handler.current_type(), SimType::EXTERNAL);
}

TEST_F(Sim, FollowsTheInputThroughFallBackAndDisabledCards)
{
    port->answers("+UGPIOR=42", "+UGPIOR: 42,0"); // an empty holder
    board->lock = false;
    EXPECT_TRUE(handler.handle_sim_change(gpio));
    EXPECT_EQ(handler.current_type(), SimType::INTERNAL);
    port->answers("+UGPIOR=42", "+UGPIOR: 42,1");
    EXPECT_FALSE(handler.handle_sim_change(gpio)); // the fall-back holds
    board->lock = true;
    EXPECT_FALSE(handler.handle_sim_change(gpio)); // until the input itself says internal
    board->lock = false;
    EXPECT_TRUE(handler.handle_sim_change(gpio));
    EXPECT_EQ(handler.current_type(), SimType::EXTERNAL);

    data.external_sim = access(defs::SimState::DISABLE);
    port->forget();
    EXPECT_TRUE(handler.handle_sim_change(gpio));
    EXPECT_FALSE(handler.handle_sim_change(gpio));
    EXPECT_EQ(handler.current_type(), SimType::INTERNAL);
    EXPECT_EQ(log.count("External (Plastic sim) is disabled, select 'Internal (esim, embedded sim)'"), 1U);
    port->forget();
    EXPECT_FALSE(handler.sim_selection(SimType::EXTERNAL));
    EXPECT_TRUE(port->sent().empty());
}

TEST_F(Sim, StaysWithAnEmptyHolderWhereThereIsNoInternalSim)
{
    data.internal_sim = access(defs::SimState::DISABLE);
    port->answers("+UGPIOR=42", "+UGPIOR: 42,0");
    board->lock = false;
    EXPECT_TRUE(handler.handle_sim_change(gpio));
    EXPECT_EQ(handler.current_type(), SimType::EXTERNAL);
    port->answers("+CPIN?", "+CPIN: READY"); // a card is inserted
    EXPECT_TRUE(handler.sim_ready());
    EXPECT_EQ(data.sim.active, SimType::EXTERNAL);
    EXPECT_NE(data.sim.external.iccid, "");
    EXPECT_EQ(data.sim.internal.iccid, "");
}

TEST_F(Sim, DoesNotSendARefusedPinAgainToThatCard)
{
    select(SimType::EXTERNAL);
    port->fails("+CPIN=\"1234\"", "+CME ERROR: incorrect password");
    for (int poll = 1; poll <= 3; ++poll) {
        EXPECT_FALSE(handler.sim_ready());
        EXPECT_EQ(handler.error_counter(), poll); // each poll is the failure it was
    }
    EXPECT_EQ(port->count("+CPIN=\"1234\""), 1U);
    EXPECT_EQ(log.count("was refused and is not sent again, 3 attempts left: correct it"), 1U);
    select(SimType::INTERNAL); // another card, and a fresh record of what is sent
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(port->count("+CPIN=\"1234\""), 1U);
    select(SimType::EXTERNAL);
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(port->count("+CPIN=\"1234\""), 0U);
    handler.card_removed();
    port->answers("+CPIN=\"1234\"", "");
    EXPECT_TRUE(handler.sim_ready());
    EXPECT_EQ(port->count("+CPIN=\"1234\""), 1U);
    handler.forget_ready();
    port->fails("+CPIN=\"1234\"", "+CME ERROR: SIM busy"); // no refusal
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_FALSE(handler.sim_ready());
    EXPECT_EQ(port->count("+CPIN=\"1234\""), 3U);
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

TEST_F(Sim, SaysOnceThatNoSimIsLeft)
{
    data.internal_sim = access(defs::SimState::DISABLE);
    board->lock = true;
    EXPECT_FALSE(handler.handle_sim_change(gpio));
    EXPECT_FALSE(handler.handle_sim_change(gpio));
    EXPECT_EQ(log.count("which hasintsim or sim.internal.state denies"), 1U);
    EXPECT_TRUE(log.contains(LogCapture::Level::WARNING, "Internal (esim, embedded sim) is disabled"));
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
