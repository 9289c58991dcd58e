#include "scenario/rig.hpp"

namespace {

using testing::HasSubstr;
using testing::Not;

/// What comes late, or never, is not taken for the answer to something else. That nothing is asked out of
/// step is checked with the transcript when a case ends.
class OutOfStep : public Rig {
protected:
    static Unit toby(const std::vector<std::string>& options)
    {
        Unit unit{.board = "k7", .module = {"--family=toby"}};
        unit.module.insert(unit.module.end(), options.begin(), options.end());
        return unit;
    }

    /// Set-up is through, with a module that was known for what it is.
    void initialises_a_toby()
    {
        start_broker();
        start_celld({"init"});
        EXPECT_EQ(await_exit(), 0);
        EXPECT_GT(commands("+CMEE=2"), 0);
        EXPECT_GT(commands("+UBMCONF?"), 0) << "which a TOBY alone is asked";
        EXPECT_EQ(commands("+UGPIOC=42"), 0) << "the pin of a SARA";
        const auto hardware = bus().newest<pb::ModemHardware>("system/modem/hardware");
        ASSERT_TRUE(hardware.has_value());
        EXPECT_THAT(hardware->model(), HasSubstr("TOBY"));
        EXPECT_EQ(hardware->imei().size(), 15U);
        EXPECT_THAT(log(), Not(HasSubstr("USB profile is 4"))) << "an IMEI";
    }
};

TEST_F(OutOfStep, WithAModuleThatStartsLateAndAnswersEveryProbe)
{
    plug(toby({"--do=once late AT 2500"}));
    initialises_a_toby();
}

TEST_F(OutOfStep, WithAModuleThatIsLateWithEveryAnswer)
{
    plug(toby({"--command-delay=2050"}));
    initialises_a_toby();
}

TEST_F(OutOfStep, KeepsTheConnectionWhenAnAnswerComesAfterItsTimeout)
{
    connect({});
    sim("once late +UREG? 12000");
    await("the time-out", [this] { return said("Command '+UREG?' timeout!") > 0; });
    const auto seen = commands("+CGACT?");
    await("more looks at the context", [&] { return commands("+CGACT?") >= seen + 3; });
    await_more_statuses(2);
    EXPECT_EQ(said("from 'Modem::State::CONNECTED'"), 0);
    EXPECT_EQ(said("Data context lost"), 0);
    EXPECT_EQ(resets(), 1) << "the first boot's";
}

TEST_F(OutOfStep, TakesTheSelectionOfTheSimForDoneWhenThePortGoesInPlaceOfItsAnswer)
{
    connect(toby({"--do=lose +CFUN=15"}));
    EXPECT_EQ(resets(), 1) << "the first boot's";
}

TEST_F(OutOfStep, TakesTheSelectionOfTheSimForDoneWhenThePortStaysSilent)
{
    connect(toby({"--do=lose +CFUN=15", "--no-port-loss-on-reset"}));
    EXPECT_EQ(resets(), 1) << "the first boot's";
}

} // namespace
