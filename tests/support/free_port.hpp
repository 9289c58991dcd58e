#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/// A loopback port for a broker that starts later. Below the kernel's ephemeral ports (32768 and up): there a
/// client that retries an absent broker may find itself connected to itself, and any client of another test
/// may have taken the port meanwhile. Cases that run side by side have different process numbers.
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
    while (!is_free(port)) {
        port = FIRST_PORT + (port - FIRST_PORT + 1) % PORTS;
    }
    return port;
}
