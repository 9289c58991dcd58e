#include <ecu/kova/application.hpp>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace ecu::kova {

namespace {

constexpr timeval MANAGER_PATIENCE{1, 0}; // for one that does not read

/// One datagram to the socket that NOTIFY_SOCKET names: a path, or "@" and an abstract name (the protocol
/// that sd_notify(3) documents as stable). Its library would bring six more into the process. A manager that
/// cannot be told is no reason not to start.
void tell_manager(const std::string& state)
{
    const char* const named = std::getenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = named != nullptr ? std::strlen(named) : 0;
    if (length < 2 || length >= sizeof address.sun_path || (named[0] != '/' && named[0] != '@')) {
        return;
    }
    std::memcpy(address.sun_path, named, length);
    if (named[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return;
    }
    static_cast<void>(
        setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &MANAGER_PATIENCE, sizeof MANAGER_PATIENCE));
    static_cast<void>(sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL,
                             reinterpret_cast<const sockaddr*>(&address),
                             static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length)));
    close(descriptor);
}

} // namespace

void application_starting()
{
    tell_manager("STATUS=Starting");
}

void application_ready()
{
    static std::atomic_flag told = ATOMIC_FLAG_INIT;
    if (!told.test_and_set()) {
        tell_manager("READY=1\nSTATUS=Running");
    }
}

} // namespace ecu::kova
