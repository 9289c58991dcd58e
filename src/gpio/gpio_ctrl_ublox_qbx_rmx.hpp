#pragma once

#include "gpio/gpio_ctrl.hpp"

/// The QBX and RMX boards (pin numbers of their schematic).
class GpioCtrlUbloxQbxRmx : public GpioCtrl {
public:
    explicit GpioCtrlUbloxQbxRmx(Clock& clock = SystemClock::instance());

    bool sim_lock_active() override;
    bool vcc(const PinValue& value) const override;
    bool pwron(const PinValue& value) const override;
    bool reset(const PinValue& value) const override;
    PinValue vint() const override;
    const Pins& gpios() const override;

protected:
    /// Throws std::out_of_range ("map::at") for a name the board does not have.
    const Gpio& pin(const char* name) const { return gpios().at(name); }
    static const char* text_of(PinValue value);

private:
    Pins pins_;
};
