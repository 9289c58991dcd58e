#pragma once

#include "support/child.hpp"
#include "support/free_port.hpp"

#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

/// A mosquitto of its own on a free loopback port. It keeps nothing over a restart, as one that was killed.
class Broker {
public:
    Broker() : port_(free_port()) {}

    int port() const { return port_; }

    /// With a listener for anybody, or as a configuration file of the broker's says.
    void start(const std::filesystem::path& configuration = {})
    {
        // Debian keeps the broker in /usr/sbin, which an ordinary user's PATH lacks.
        const bool plain = configuration.empty();
        process_.start({"/usr/sbin/mosquitto", plain ? "-p" : "-c",
                        plain ? std::to_string(port_) : configuration.string()},
                       "/dev/null");
        wait_until_listening(port_);
    }
    void stop() { process_.kill(); }

    static sockaddr_in loopback(int port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        return address;
    }

    /// A socket that listens on the port.
    static int listen_on(int port)
    {
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        const auto address = loopback(port);
        if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            listen(listener, 1) != 0) {
            close(listener);
            throw std::runtime_error("cannot listen on port " + std::to_string(port));
        }
        return listener;
    }

    static void wait_until_listening(int port)
    {
        using namespace std::chrono_literals;
        for (int tries = 0; tries < 3000; ++tries, std::this_thread::sleep_for(10ms)) {
            const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const auto address = loopback(port);
            const bool listening =
                connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
            close(probe);
            if (listening) {
                return;
            }
        }
        throw std::runtime_error("the broker does not listen");
    }

private:
    int port_;
    Child process_;
};
