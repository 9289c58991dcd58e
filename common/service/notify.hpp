#pragma once

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace service {

/// One datagram to the socket that NOTIFY_SOCKET names: a path, or "@" and an abstract name (the protocol
/// that sd_notify(3) documents as stable). Its library would bring six more into the process. False when
/// nobody was told: there is no such socket, or its reader has not made room within `patience` (0: at once).
/// Any thread.
inline bool notify(std::string_view state, std::chrono::seconds patience)
{
    const char* const named = std::getenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = named != nullptr ? std::strlen(named) : 0;
    if (length < 2 || length >= sizeof address.sun_path || (named[0] != '/' && named[0] != '@')) {
        return false;
    }
    std::memcpy(address.sun_path, named, length);
    if (named[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return false;
    }
    const timeval wait{static_cast<time_t>(patience.count()), 0};
    static_cast<void>(setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait));
    const int how = MSG_NOSIGNAL | (patience.count() > 0 ? 0 : MSG_DONTWAIT); // a time-out of 0 is none
    const auto sent =
        sendto(descriptor, state.data(), state.size(), how, reinterpret_cast<const sockaddr*>(&address),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
    close(descriptor);
    return sent >= 0;
}

} // namespace service
