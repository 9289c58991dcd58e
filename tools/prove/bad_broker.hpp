#pragma once

#include "utils/unique_fd.hpp"

#include <atomic>
#include <thread>
#include <vector>

/// A broker that does what none should, on a loopback port, with a thread of its own, until it is destroyed.
class BadBroker {
public:
    enum class Manner {
        DEAF,     ///< takes connections and reads nothing
        SLOW,     ///< reads a byte now and then and never answers
        REFUSING, ///< "not authorised" (MQTT 3.1.1, 3.2.2.3)
        DROPPING, ///< accepts, and hangs up on whatever comes then
        BABBLING, ///< answers with bytes that are no MQTT
    };

    /// @throws std::runtime_error when the port is taken
    BadBroker(int port, Manner manner);
    ~BadBroker();
    BadBroker(const BadBroker&) = delete;
    BadBroker& operator=(const BadBroker&) = delete;

    /// How many connections came.
    unsigned connections() const { return connections_.load(); }

private:
    struct Client {
        UniqueFd line;
        bool greeted = false;
    };

    void serve();
    void welcome();
    bool hear(Client& client) const; ///< false: hang up

    const Manner manner_;
    UniqueFd listener_;
    std::vector<Client> clients_; // the thread's
    std::atomic<bool> ends_{false};
    std::atomic<unsigned> connections_{0};
    std::thread thread_;
};
