#include "modem/port_wait.hpp"

#include <ecu/kova/logging.hpp>

#include <system_error>
#include <utility>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

// How soon the request to stop is repeated. Real time: it waits for a real thread, not for a modelled delay.
constexpr std::chrono::milliseconds REPEAT_STOP{20};

} // namespace

void PortWait::start(std::shared_ptr<AtTtyPort> port)
{
    port_ = port;
    std::promise<void> done;
    done_ = done.get_future();
    try {
        thread_ = std::thread([waited_for = std::move(port), done = std::move(done)]() mutable {
            waited_for->wait_until_available();
            done.set_value();
        });
    } catch (const std::system_error& error) {
        LOG.error("Unable to start the waiting thread: ",
                  error.what()); // the passes that wait run out, and reset
    }
}

void PortWait::stop_and_join()
{
    if (!thread_.joinable()) {
        return;
    }
    LOG.debug("Join AT port waiting thread...");
    // A request that comes before the wait has begun is lost, so it is made until the thread has ended.
    do {
        port_->stop_wait_until_available();
    } while (done_.wait_for(REPEAT_STOP) != std::future_status::ready);
    try {
        thread_.join();
    } catch (const std::system_error& error) {
        LOG.debug("join: ", error.what());
    }
    port_.reset();
}
