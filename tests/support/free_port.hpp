#pragma once

#include <arpa/inet.h>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// Takes the port for this process against all others that ask here, for as long as the process lives: an
/// abstract socket of that name (unix(7)) is nobody else's and goes with it.
inline bool reserve_port(int port)
{
    const std::string name = '\0' + std::string("celld-test-port-") + std::to_string(port);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(&address.sun_path[0], sizeof address.sun_path);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    const int holder = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(holder, reinterpret_cast<const sockaddr*>(&address), length) == 0) {
        return true; // and stays open
    }
    close(holder);
    return false;
}

/// A loopback port for a broker that starts later; no other test process gets it meanwhile. Below the
/// kernel's ephemeral ports (32768 and up): there a client that retries an absent broker may find itself
/// connected to itself, and any client of another test may have taken the port.
inline int free_port()
{
    constexpr int FIRST_PORT = 20'000;
    constexpr int PORTS = 12'000;
    const auto is_free = [](int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int bound = bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        close(probe);
        return bound == 0;
    };
    int port = FIRST_PORT + getpid() % PORTS;
    while (!is_free(port) || !reserve_port(port)) {
        port = FIRST_PORT + (port - FIRST_PORT + 1) % PORTS;
    }
    return port;
}
