#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "modem/network_search.hpp"
#include "modem/state_machine.hpp"
#include "timer/clock.hpp"
#include "variant/modem_variant.hpp"

#include <memory>
#include <optional>

/// Asks the module for its registration and moves the state along it. Main thread only. Logs on
/// "celld.modem".
class RegistrationWatch {
public:
    /// Between two looks; reports bring changes at once.
    static constexpr std::chrono::seconds UPDATE_INTERVAL{5};

    RegistrationWatch(AtTtyPort& port, const std::shared_ptr<ModemVariant>& variant, ModemData& data,
                      StateMachine& machine, NetworkSearch& search, Clock& clock);

    /// "+CREG?", "+CGREG?", "+CEREG?" where there is LTE, "+UREG?"; in the network group alone, and not again
    /// within the interval.
    void update();
    /// What is known is old: the next `update` asks.
    void forget() { next_update_.reset(); }

    /// The state that the registration asks for. Decides alone: whether the module searches is handed in, and
    /// matters only while `wants_search_state`.
    ModemState evaluate(bool search_active) const;
    bool wants_search_state() const;
    /// Asks what `evaluate` wants to know, and goes to the state it names.
    bool follow();

    bool is_registered() const;

private:
    void query(registration::Domain domain);
    void query_extended();

    AtTtyPort& port_;
    const std::shared_ptr<ModemVariant>& variant_;
    ModemData& data_;
    StateMachine& machine_;
    NetworkSearch& search_;
    Clock& clock_;
    std::optional<Clock::time_point> next_update_;
};
