#pragma once

#include "at/at_tty_port.hpp"

#include <future>
#include <memory>
#include <thread>

/// The thread that waits for the AT port while the module boots. Driven by one thread.
class PortWait {
public:
    PortWait() = default;
    PortWait(const PortWait&) = delete;
    PortWait& operator=(const PortWait&) = delete;
    ~PortWait() { stop_and_join(); }

    /// Starting it while a previous one is still held ends the process: the caller joins first.
    void start(std::shared_ptr<AtTtyPort> port);
    /// Returns at once when there is no thread.
    void stop_and_join();

private:
    std::shared_ptr<AtTtyPort> port_;
    std::future<void> done_;
    std::thread thread_;
};
