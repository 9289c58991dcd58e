#include <ecu/kova/application.hpp>

#include <atomic>
#include <chrono>
#include <service/notify.hpp>

namespace ecu::kova {

namespace {

/// For a manager that does not read. One that cannot be told is no reason not to start.
constexpr std::chrono::seconds MANAGER_PATIENCE{1};

} // namespace

void application_starting()
{
    static_cast<void>(service::notify("STATUS=Starting", MANAGER_PATIENCE));
}

void application_ready()
{
    static std::atomic_flag told = ATOMIC_FLAG_INIT;
    if (!told.test_and_set()) {
        static_cast<void>(service::notify("READY=1\nSTATUS=Running", MANAGER_PATIENCE));
    }
}

} // namespace ecu::kova
