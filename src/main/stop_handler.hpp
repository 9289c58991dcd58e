#pragma once

class Modem;

/// Turns SIGINT and SIGTERM into `Modem::stop`. The first signal stops the modem; a second ends the process
/// at once.
namespace stop_handler {

/// A signal that comes before `watch` only restores the default dispositions.
void install();
void watch(Modem& modem);
/// Afterwards no handler holds the modem any more: it may go.
void forget();

} // namespace stop_handler
