#pragma once

#include "at/at_tty_port.hpp"
#include "data/backoff.hpp"
#include "modem/phase.hpp"
#include "modem/state_machine.hpp"
#include "timer/clock.hpp"
#include "variant/modem_variant.hpp"

#include <memory>

/// BACKOFF: the network has barred the module. Leaves it alone until the bar is over.
class BarredPhase final : public Phase {
public:
    /// Seconds between two questions how long the bar lasts.
    static constexpr unsigned short QUERY_INTERVAL_S = 30;

    BarredPhase(StateMachine& machine, Backoff& backoff, const std::shared_ptr<AtTtyPort>& port,
                const std::shared_ptr<ModemVariant>& variant, const Clock& clock);

    void entered(ModemState now, ModemState from) override;
    Pass step(ModemState now) override;
    /// By whatever road.
    void left(ModemState now, ModemState next) override;

private:
    StateMachine& machine_;
    Backoff& backoff_;
    const std::shared_ptr<AtTtyPort>& port_;
    const std::shared_ptr<ModemVariant>& variant_;
    const Clock& clock_;
    BackoffQuerySchedule schedule_;
};
