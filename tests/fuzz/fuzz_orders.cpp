#include "modem/bus_inbox.hpp"

#include <ecu/kova/log_tap.hpp>

#include <cstddef>
#include <cstdint>

/// The bus may hand over any bytes under the topics that the daemon listens to.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ecu::kova::logging::set_tap([](void*, auto, const auto&, const auto&) {}, nullptr);
    AtTtyPort port({});
    Orders orders(port);
    BusInbox inbox(orders, SystemClock::instance());
    for (const char* topic : {BusInbox::BLACKOUT_TOPIC, BusInbox::BACKEND_TOPIC}) {
        inbox.message(topic, ecu::kova::com::Message({data, data + size}));
    }
    return 0;
}
