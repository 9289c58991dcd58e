#include "gpio/gpio_ctrl_ublox_qbx_rmx.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.gpioctrl");

} // namespace

GpioCtrlUbloxQbxRmx::GpioCtrlUbloxQbxRmx(Clock& clock)
    : GpioCtrl(clock), pins_{
                           {"VCC", Gpio(3, Gpio::Direction::OUT_LOW)},
                           {"PWRON", Gpio(144, Gpio::Direction::OUT_LOW)},
                           {"RESET", Gpio(145, Gpio::Direction::OUT_LOW)},
                           {"SIMLOCK", Gpio(142, Gpio::Direction::IN)},
                           {"VINT", Gpio(9, Gpio::Direction::IN)},
                       }
{
}

const char* GpioCtrlUbloxQbxRmx::text_of(PinValue value)
{
    switch (value) {
    case PinValue::LOW:
        return "0";
    case PinValue::HIGH:
        return "1";
    case PinValue::UNDEFINED:
        break;
    }
    return "";
}

bool GpioCtrlUbloxQbxRmx::sim_lock_active()
{
    return pin("SIMLOCK").value() == "1";
}

bool GpioCtrlUbloxQbxRmx::vcc(const PinValue& value) const
{
    return pin("VCC").value(text_of(value));
}

bool GpioCtrlUbloxQbxRmx::pwron(const PinValue& value) const
{
    return pin("PWRON").value(text_of(value));
}

bool GpioCtrlUbloxQbxRmx::reset(const PinValue& value) const
{
    return pin("RESET").value(text_of(value));
}

GpioCtrl::PinValue GpioCtrlUbloxQbxRmx::vint() const
{
    const std::string text = pin("VINT").value();
    LOG.debug("Read vint value: ", text);
    if (text == "1") {
        return PinValue::HIGH;
    }
    return text == "0" ? PinValue::LOW : PinValue::UNDEFINED;
}

const GpioCtrl::Pins& GpioCtrlUbloxQbxRmx::gpios() const
{
    return pins_;
}
