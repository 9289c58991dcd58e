#pragma once

#include "at/at_tty_port.hpp"
#include "variant/modem_variant.hpp"

#include <memory>
#include <optional>
#include <string>

/// Compares the module's persistent settings with what the daemon needs, and corrects what differs. A new
/// value takes effect with the module's next start. A query on which set-up cannot go on ends the process:
/// its message goes to standard error, and the service manager starts it anew. Main thread only. Logs on
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

/// True when the command succeeded, false when it was interrupted. Anything else ends the process with this
/// message: set-up cannot go on, and nothing the daemon could do would change that.
bool demand(const Result& result, const char* text);
