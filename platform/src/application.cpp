#include <ecu/kova/application.hpp>
#include <systemd/sd-daemon.h>

#include <atomic>

namespace ecu::kova {

void application_starting()
{
    // A manager that cannot be told is no reason not to start; without NOTIFY_SOCKET nothing is sent.
    static_cast<void>(sd_notify(0, "STATUS=Starting"));
}

void application_ready()
{
    static std::atomic_flag told = ATOMIC_FLAG_INIT;
    if (!told.test_and_set()) {
        static_cast<void>(sd_notify(0, "READY=1\nSTATUS=Running"));
    }
}

} // namespace ecu::kova
