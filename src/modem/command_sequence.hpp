#pragma once

#include "at/at_tty_port.hpp"
#include "variant/modem_variant.hpp"

/// Executes the commands in order, up to the first failure; its error carries the command's text as its
/// message.
Result run_sequence(AtTtyPort& port, const ModemVariant::Commands& commands);
