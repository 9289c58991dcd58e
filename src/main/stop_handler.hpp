#pragma once

class Modem;

/// Turns SIGINT and SIGTERM into `Modem::stop`. The first signal stops the modem; a second ends the process
/// at once.
namespace stop_handler {

/// A signal that comes before a `Watch` restores the default dispositions and is remembered.
void install();

/// Whether a signal has come, for those who wait before there is a `Watch`. Any thread.
bool signalled();

/// The modem that a signal stops; one that came before stops it at once. Once this is gone no handler holds
/// the modem any more: it may go.
class Watch {
public:
    explicit Watch(Modem& modem);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
};

} // namespace stop_handler
