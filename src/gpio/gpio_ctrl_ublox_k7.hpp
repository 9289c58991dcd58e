#pragma once

#include "gpio/gpio_ctrl_ublox_qbx_rmx.hpp"

/// The K7 board: its own pins, an active-low supply switch, and no SIM-lock input.
class GpioCtrlUbloxK7 : public GpioCtrlUbloxQbxRmx {
public:
    explicit GpioCtrlUbloxK7(Clock& clock = SystemClock::instance());

    bool sim_lock_active() override { return false; }
    bool vcc(const PinValue& value) const override;
    const Pins& gpios() const override { return pins_; }

private:
    Pins pins_;
};
