#pragma once

#include "modem/modem_limits.hpp"

#include <array>
#include <cstdint>

/// What goes wrong again and again.
enum class Cause {
    RESET,                 ///< the module is about to be reset
    SIM_ERRORS,            ///< the SIM's errors have reached their own limit
    SETTINGS_CHANGED,      ///< a persistent setting had to be corrected that the module can do without
    DATA_PATH_CHANGED,     ///< likewise one without which there is no data path
    PORT_ABSENT,           ///< the AT port never appeared after a power-up
    PORT_MUTE,             ///< it appeared and nothing answered
    PORT_LOST,             ///< it went away, and has not been connected since
    CONTEXT_SET_UP_FAILED, ///< the data context could not be defined
    DATA_PATH_BUSY,        ///< the data path to the unit was busy when the context should be activated
    ACTIVATION_GIVEN_UP,   ///< the data context did not come up
};
constexpr std::size_t CAUSE_COUNT = 10;

/// What it leads to.
enum class Verdict {
    AGAIN,          ///< try again, or go on
    GIVE_UP,        ///< stop trying: the next larger thing has failed
    RESET,          ///< restart the module through its supply
    HARDWARE_ERROR, ///< report the hardware error
    END,            ///< leave it to the service manager
};

/// Counts what went wrong in a row and says what it leads to. No clock, no port, no log: a table of rows,
/// each with its limit. Main thread only.
class Escalation {
public:
    /// Resets for the sake of a setting; a module that forgets it again is taken as it is.
    static constexpr std::uint32_t MAX_RECONFIGURATIONS = 3;
    static constexpr std::uint32_t MAX_PORT_LOSSES = 5;
    static constexpr std::uint32_t MAX_CONTEXT_FAILURES = 5;
    static constexpr std::uint32_t MAX_BUSY = 20;
    static constexpr std::uint32_t MAX_ACTIVATION_GIVEUPS = 5;

    explicit Escalation(const ModemLimits& limits);

    /// Counts one more and judges it.
    Verdict strike(Cause cause);
    /// Whether the limit has been reached already, without counting.
    bool exhausted(Cause cause) const;
    std::uint32_t count(Cause cause) const { return counts_[index(cause)]; }
    std::uint32_t limit(Cause cause) const;

    /// A connection: whatever went wrong on the way to it is forgiven.
    void forgive() { counts_ = {}; }
    /// The port appeared: the module does boot.
    void port_appeared() { counts_[index(Cause::PORT_ABSENT)] = 0; }
    /// And it answered.
    void module_answered() { counts_[index(Cause::PORT_MUTE)] = 0; }
    /// The module has been switched on: what it was busy with is over.
    void powered_up() { counts_[index(Cause::DATA_PATH_BUSY)] = 0; }
    /// The data context was defined.
    void context_set_up() { counts_[index(Cause::CONTEXT_SET_UP_FAILED)] = 0; }
    /// The activation was answered otherwise than by "busy".
    void data_path_free() { counts_[index(Cause::DATA_PATH_BUSY)] = 0; }

private:
    static constexpr std::size_t index(Cause cause) { return static_cast<std::size_t>(cause); }

    ModemLimits limits_;
    std::array<std::uint32_t, CAUSE_COUNT> counts_{};
};
