#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "modem/network_search.hpp"
#include "variant/modem_variant.hpp"

#include <memory>

/// Defining and activating the data context of the SIM in use. Main thread only: blocks for the time-outs of
/// its commands. Logs on "celld.modem".
class DataContext {
public:
    DataContext(const std::shared_ptr<AtTtyPort>& port, const std::shared_ptr<ModemVariant>& variant,
                const ModemData& data, NetworkSearch& search);

    /// Stops the search and defines the context. The error of a failed command carries its text as its
    /// message.
    Result set_up();
    /// ACTIVATED also when it is active already.
    ActivationCode activate();
    ContextState query();
    /// Deactivates it where it is active.
    void deactivate();

private:
    const std::shared_ptr<AtTtyPort>& port_;
    const std::shared_ptr<ModemVariant>& variant_;
    const ModemData& data_;
    NetworkSearch& search_;
};
