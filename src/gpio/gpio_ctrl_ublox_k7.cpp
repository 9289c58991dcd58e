#include "gpio/gpio_ctrl_ublox_k7.hpp"

GpioCtrlUbloxK7::GpioCtrlUbloxK7(Clock& clock)
    : GpioCtrlUbloxQbxRmx(clock), pins_{
                                      {"VCC", Gpio(162, Gpio::Direction::OUT_HIGH)}, // active low: supply off
                                      {"PWRON", Gpio(157, Gpio::Direction::OUT_LOW)},
                                      {"RESET", Gpio(156, Gpio::Direction::OUT_LOW)},
                                      {"VINT", Gpio(160, Gpio::Direction::IN)},
                                  }
{
}

bool GpioCtrlUbloxK7::vcc(const PinValue& value) const
{
    return pin("VCC").value(text_of(value == PinValue::HIGH ? PinValue::LOW : PinValue::HIGH));
}
