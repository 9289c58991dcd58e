#pragma once

#include "at/at_tty_port.hpp"
#include "variant/modem_variant.hpp"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

/// Set-up cannot go on, and nothing the daemon could do would change that: the message says at what. The run
/// loop ends the process with it at once, for the service manager to start it anew.
class SetUpImpossible : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Compares the module's persistent settings with what the daemon needs, and corrects what differs. A new
/// value takes effect with the module's next start. A query on which set-up cannot go on is SetUpImpossible.
/// Main thread only. Logs on
/// "celld.modem".
class PersistentSettings {
public:
    PersistentSettings(const std::shared_ptr<AtTtyPort>& port, const ModemVariant& variant)
        : port_(port), variant_(variant)
    {
    }

    struct Change {
        std::string names;              ///< of what was changed, for the log
        bool carries_data_path = false; ///< whether the unit has no data path without it
    };

    /// What was changed; nothing when all was as it should be, or the port was interrupted.
    std::optional<Change> ensure();

private:
    bool ensure_usb_profile();
    bool ensure_router_mode();
    bool ensure_sim_hot_swap();
    bool ensure_sim_detection_gpio();
    bool ensure_rat();

    const std::shared_ptr<AtTtyPort>& port_;
    const ModemVariant& variant_;
};

/// True when the command succeeded; false when it was interrupted, or failed while an order waits: radio
/// silence and a stop need somebody to switch the supply off. @throws SetUpImpossible with this message
/// otherwise
bool demand(const AtTtyPort& port, const Result& result, const char* text);
