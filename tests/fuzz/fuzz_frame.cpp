#include "bus/message_adapter.hpp"

#include <ecu/kova/log_tap.hpp>
#include <ecu/kova/rt/signal_adapter.hpp>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ecu::kova::logging::set_tap([](void*, auto, const auto&, const auto&) {}, nullptr);
    const ecu::kova::com::Message message({data, data + size});
    static_cast<void>(
        ecu::kova::com::PbInternalMessageAdapter<ecu::kova::pb::BackendProxyStatus>().deserialize(message));
    static_cast<void>(
        ecu::kova::com::PbInternalMessageAdapter<ecu::kova::pb::ModemStatus>().deserialize(message));
    static_cast<void>(ecu::kova::rt::SignalAdapter::instance().unpack(message));
    return 0;
}
