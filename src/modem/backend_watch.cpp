#include "modem/backend_watch.hpp"

#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <limits>
#include <thread>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr std::uint32_t SECONDS_PER_MINUTE = 60;
constexpr std::uint32_t MAX_MINUTES = std::numeric_limits<std::uint32_t>::max() / SECONDS_PER_MINUTE;

} // namespace

BackendWatch::BackendWatch(std::function<bool()> connected, Clock& clock)
    : connected_(std::move(connected)), timer_(clock)
{
}

void BackendWatch::start(std::uint32_t minutes)
{
    const auto expire = [this, minutes] {
        if (!connected_()) {
            LOG.warning("No BE connection for ", minutes, " min, resetting modem");
            expired_.store(true);
        }
    };
    timer_.start(expire, std::min(minutes, MAX_MINUTES) * SECONDS_PER_MINUTE);
    // A stop that comes before the thread waits would be lost, and block for all the minutes.
    while (timer_.active() && !timer_.waiting()) {
        std::this_thread::yield();
    }
}

void BackendWatch::stop()
{
    timer_.stop();
}
