#include "gpio/gpio_ctrl.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

namespace {

class Gpio : public ::testing::Test {
protected:
    std::shared_ptr<GpioCtrl> board(const std::string& hwversion)
    {
        root.write("/etc/vexa/ecu_variables.conf", "hwversion = " + hwversion + "\n");
        return GpioCtrl::create(ecu::kova::var::create_var_client(), clock);
    }
    LogCapture log;
    TempRoot root;
    ManualClock clock;
};

} // namespace

TEST_F(Gpio, AVersionThatNobodyKnowsIsToldAndIsNoK7)
{
    for (const char* known : {"qbx", "rmx"}) {
        board(known);
    }
    EXPECT_EQ(log.count("hwversion is"), 0U);
    root.write("/sys/class/gpio/gpio3/value", "0\n");
    EXPECT_TRUE(board("K7")->vcc(GpioCtrl::PinValue::HIGH));
    EXPECT_EQ(root.read("/sys/class/gpio/gpio3/value"), "1\n");
    EXPECT_TRUE(log.contains(LogCapture::Level::WARNING,
                             "ECU variable hwversion is 'K7', which is none of k7, qbx, rmx"));
}

TEST_F(Gpio, ReadsVintAsItStandsAndNothingElse)
{
    const auto gpio = board("qbx");
    EXPECT_EQ(gpio->vint(), GpioCtrl::PinValue::UNDEFINED); // no such file
    root.write("/sys/class/gpio/gpio9/value", "1\n");
    EXPECT_EQ(gpio->vint(), GpioCtrl::PinValue::HIGH);
    root.write("/sys/class/gpio/gpio9/value", "x\n");
    EXPECT_EQ(gpio->vint(), GpioCtrl::PinValue::UNDEFINED);
}
