#pragma once

#include "modem/modem_limits.hpp"
#include "modem/module_power.hpp"
#include "modem/resets.hpp"
#include "modem/state_machine.hpp"
#include "timer/clock.hpp"

#include <cstdint>
#include <optional>

/// One clock over all that is tried between a power-up and a connection. Each step has limits of its own, but
/// a module that goes round among them (registered, refused, lost, registered) reaches none: this one resets
/// it. Runs only in the network group; begins anew with a power-up and while connected. Main thread only.
/// Logs on "celld.modem".
class NetworkVigil {
public:
    /// The reset comes after this many times the network search's own limit.
    static constexpr std::uint32_t SEARCH_LIMITS = 2;

    NetworkVigil(StateMachine& machine, const ModulePower& power, Resets& resets, const ModemLimits& limits,
                 const Clock& clock);

    /// Once a pass.
    void watch();

private:
    void begin_anew() { spent_ = {}; }

    StateMachine& machine_;
    const ModulePower& power_;
    Resets& resets_;
    const Clock& clock_;
    const std::chrono::seconds limit_;
    std::optional<Clock::time_point> last_look_; // in the network group
    Clock::time_point::duration spent_{};
    std::uint32_t power_ups_ = 0; // in which it runs
};
