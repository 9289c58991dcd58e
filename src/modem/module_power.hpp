#pragma once

#include "at/at_tty_port.hpp"
#include "data/backoff.hpp"
#include "data/modem_data.hpp"
#include "gpio/gpio_ctrl.hpp"
#include "modem/escalation.hpp"
#include "modem/orders.hpp"
#include "modem/port_wait.hpp"
#include "modem/registration_watch.hpp"
#include "modem/state_machine.hpp"
#include "modem/urc_queue.hpp"
#include "sim/sim_handler.hpp"
#include "status/antenna_handler.hpp"
#include "status/status_handler.hpp"
#include "timer/clock.hpp"
#include "variant/modem_variant.hpp"

#include <cstdint>
#include <memory>
#include <optional>

/// Switches the module on and off, and opens its port anew. Main thread only; a power-off takes up to a
/// minute and a half. Logs on "celld.modem".
class ModulePower {
public:
    /// What is switched, what is stopped with it, and what is forgotten because the module forgets it.
    struct Touches {
        const std::shared_ptr<AtTtyPort>& port;
        const std::shared_ptr<GpioCtrl>& gpio;
        const std::shared_ptr<ModemVariant>& variant;
        AntennaHandler& antenna;
        SimHandler& sim;
        StatusHandler& status;
        UrcQueue& urcs;
        Backoff& backoff;
        RegistrationWatch& registration;
        Escalation& escalation;
    };

    /// `pauses` ends its pauses early when an order overtakes them.
    ModulePower(const Touches& touches, StateMachine& machine, ModemData& data, const Orders& orders,
                Clock& pauses);

    /// Supply and power-on line, then the wait for the port in WAITING_FOR_ATPORT.
    void on();
    /// Always ends in OFF, whatever the module does. Returns at once when it is.
    void off();
    /// The same for the module alone: the state is the caller's.
    void switch_off();
    /// Off, a pause, and on again, unless an order keeps it off meanwhile.
    void reboot();
    /// The module is not power-cycled.
    void restart_port();
    /// Whether the supply could not be taken away. Tries again at each call, and says so once a minute while
    /// it lasts.
    bool supply_stuck();
    /// The thread that waits for the port ends.
    void end_port_wait() { port_wait_.stop_and_join(); }

    /// At once and without asking the module anything: what follows may take a minute.
    void publish(ecu::kova::pb::ModemStatus_ModemState state);

    /// How often the module has been switched on.
    std::uint32_t power_ups() const { return power_ups_; }

private:
    void stop_antenna();
    void take_supply();
    void forget_module();

    Touches touches_;
    StateMachine& machine_;
    ModemData& data_;
    const Orders& orders_;
    Clock& pauses_;
    PortWait port_wait_;
    std::uint32_t power_ups_ = 0;
    std::optional<Clock::time_point> stuck_told_; // while the supply cannot be taken away
};
