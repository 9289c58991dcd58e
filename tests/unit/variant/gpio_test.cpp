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
    void export_pin(const std::string& number, const std::string& direction)
    {
        root.write("/sys/class/gpio/gpio" + number + "/value", "0\n");
        root.write("/sys/class/gpio/gpio" + number + "/direction", direction + "\n");
    }
    std::string file(const std::string& number, const std::string& name)
    {
        return root.read("/sys/class/gpio/gpio" + number + "/" + name);
    }

    LogCapture log;
    TempRoot root;
    ManualClock clock;
};

} // namespace

TEST_F(Gpio, InitDrivesOutputsToOffAndLeavesInputsAlone)
{
    for (const char* number : {"3", "144", "145"}) {
        export_pin(number, "out");
    }
    export_pin("142", "in");
    export_pin("9", "in");
    root.write("/sys/class/gpio/export", "");
    const auto gpio = board("anything");
    ASSERT_TRUE(gpio->init());
    EXPECT_EQ(file("3", "direction"), "low\n");
    EXPECT_EQ(file("142", "direction"), "in\n");
    EXPECT_EQ(root.read("/sys/class/gpio/export"), ""); // all were exported
    ASSERT_TRUE(gpio->vcc(GpioCtrl::PinValue::HIGH));
    EXPECT_EQ(file("3", "value"), "1\n");
}

TEST_F(Gpio, K7SwitchesItsSupplyActiveLowAndHasNoSimLock)
{
    export_pin("162", "out");
    export_pin("160", "in");
    const auto gpio = board("k7");
    gpio->vcc(GpioCtrl::PinValue::HIGH);
    EXPECT_EQ(file("162", "value"), "0\n");
    gpio->vcc(GpioCtrl::PinValue::LOW);
    EXPECT_EQ(file("162", "value"), "1\n");
    EXPECT_FALSE(gpio->sim_lock_active());
    for (const char* known : {"qbx", "rmx"}) {
        board(known);
    }
    EXPECT_EQ(log.count("hwversion is"), 0U);
    board("K7"); // not the word: it gets the other board's pins
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

TEST_F(Gpio, InitFailsWhenAPinCannotBeExported)
{
    const auto gpio = board("qbx"); // no sysfs at all
    EXPECT_FALSE(gpio->init());
    EXPECT_FALSE(gpio->vcc(GpioCtrl::PinValue::HIGH));
}
