#pragma once

namespace ecu::kova {

/// Tells the service manager that start-up has begun (sd_notify(3), STATUS=). Does nothing without
/// NOTIFY_SOCKET.
void application_starting();

/// Tells the service manager that the service is up (sd_notify(3), READY=1). Only the first call of a process
/// sends; does nothing without NOTIFY_SOCKET. Any thread.
void application_ready();

} // namespace ecu::kova
