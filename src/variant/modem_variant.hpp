#pragma once

#include "at/at_tty_port.hpp"
#include "data/defs.hpp"
#include "gpio/gpio_ctrl.hpp"
#include "timer/clock.hpp"
#include "utils/lasting_failure.hpp"

#include <ecu/kova/logging.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// When the module may next be asked for its back-off timer. Lent to the variant by its user, since a variant
/// is made anew at every set-up.
struct BackoffQuerySchedule {
    std::optional<Clock::time_point> next;
};

/// What came of asking for the back-off timer.
struct BackoffReport {
    bool queried = false;          ///< the module answered
    std::uint16_t remaining_s = 0; ///< the longest timer still running
    bool failed = false;           ///< the module was asked and did not answer properly (logged)
};

enum class ContextState {
    UNKNOWN, ///< the module did not answer (logged)
    INACTIVE,
    ACTIVE,
};

/// Result codes of `activate_pdp_context`.
enum class ActivationCode : int {
    ACTIVATED = 1,
    NOT_SUBSCRIBED = 2,
    CDC_ECM_BUSY = 3,
    OTHER_FAILURE = 4,
    UNANSWERED = 5,  ///< it took its three minutes and the module said nothing
    INTERRUPTED = 6, ///< nobody waited for the answer any more
};

/// Everything in which one module family differs from another. Sequences are data: the caller executes them
/// in order and stops at the first failure. Operations that take a port block for their commands' time-outs;
/// main thread only. Commands are those of the family's u-blox AT commands manual.
class ModemVariant {
public:
    using Port = std::shared_ptr<AtTtyPort>;
    using Commands = std::vector<AtCommand>;

    /// Supply on, then the power-on line; both families. Does not wait for the module to come up.
    static void power_on(const std::shared_ptr<GpioCtrl>& gpio);

    virtual ~ModemVariant() = default;

    virtual int usb_profile() const = 0;            ///< wanted in "+UUSBCONF="
    virtual bool has_sim_detection_pin() const = 0; ///< whether "+UGPIOR=" tells of a card in the holder
    virtual int sim_detection_gpio() const = 0;     ///< the module's GPIO id
    virtual Commands sim_selection_sequence(defs::SimType type) const = 0;
    virtual int supports_lte() const = 0;         ///< 1 when "+CEREG?" is worth asking
    virtual const Commands& urc_cmds() const = 0; ///< the family's own reports
    virtual const AtCommand& disable_rf() const;
    virtual const AtCommand& enable_rf() const;
    virtual int selected_rat() const = 0;  ///< first value of "+URAT="
    virtual int preferred_rat() const = 0; ///< second value of "+URAT="
    virtual ActivationCode activate_pdp_context(Port port) const = 0;
    virtual bool deactivate_pdp_context(Port port) const = 0;
    virtual ContextState is_pdp_context_active(Port port) const = 0;
    /// Asks the module how long the network still bars it, every `interval_s` seconds at most and not before
    /// the first interval has passed.
    virtual BackoffReport check_backoff_timer(Port port, unsigned short interval_s,
                                              BackoffQuerySchedule& schedule) const = 0;
    /// `apn` may carry the authentication type behind a colon: "internet:CHAP".
    virtual Commands context_setup_sequence(const std::string& apn, const std::string& user,
                                            const std::string& password) const = 0;
    virtual bool needs_router_mode_check() const { return false; } ///< "+UBMCONF"
    virtual bool router_mode() const { return false; }             ///< wanted in "+UBMCONF="
    /// True when it changed the module's configuration, which then wants a restart.
    virtual bool setup_eth_over_usb(Port port) const = 0;
    /// Never fails: always ends with the supply removed.
    virtual void power_off(std::shared_ptr<GpioCtrl> gpio, Port port) const = 0;
    /// Whether selecting a SIM restarts the module, which then has forgotten everything volatile.
    virtual bool sim_selection_restarts_module() const { return false; }

protected:
    ModemVariant(int context_id, const ecu::kova::logging::Module& log, Clock& clock);

    int context_id() const { return context_id_; }
    Clock& clock() const { return clock_; }
    const ecu::kova::logging::Module& log() const { return log_; }

    // What the families share, with their differences as parameters.
    ContextState query_context(const Port& port, const char* failure_text) const;
    ActivationCode activate_with(const Port& port, const AtCommand& command, bool knows_cdc_ecm) const;
    bool deactivate_context(const Port& port) const;
    /// "+CPWROFF" when the port is there, then stops the port.
    void ask_module_to_power_off(const Port& port) const;

private:
    int context_id_;
    const ecu::kova::logging::Module& log_;
    Clock& clock_;
    mutable LastingFailure context_unknown_; // main thread
};

/// An APN text taken apart at its colon.
struct ApnText {
    std::string name;
    std::optional<defs::ApnAuthenticationType> authentication;

    explicit ApnText(const std::string& text);
};
