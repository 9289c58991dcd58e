#pragma once

#include "bus/message_adapter.hpp"

#include <ecu/kova/rt/signal_adapter.hpp>

#include <chrono>
#include <optional>
#include <string>

/// The message as it comes over the bus, stamped with the sender's time since boot where that is given.
template <class T>
ecu::kova::com::Message frame_of(const T& message, bool retained = false,
                                 std::optional<std::chrono::nanoseconds> up = {})
{
    auto payload = ecu::kova::com::PbInternalMessageAdapter<T>().serialize(message)->payload();
    for (std::size_t byte = 0; up && byte < 8; ++byte) { // docs/bus.md, "Frame"
        payload[10 + byte] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(up->count()) >> 8 * byte);
    }
    ecu::kova::com::Message frame(std::move(payload));
    frame.retained(retained);
    return frame;
}

/// A status of a daemon that lives: only its will has no reason.
inline ecu::kova::pb::ModemStatus status_in(ecu::kova::pb::ModemStatus::ModemState state,
                                            std::optional<int> rssi = {})
{
    ecu::kova::pb::ModemStatus status;
    status.set_state(state);
    status.set_reset_reason(ecu::kova::pb::ModemStatus::NONE);
    if (rssi) {
        status.set_rssi(*rssi);
    }
    return status;
}

inline ecu::kova::com::Message signal_frame(const std::string& topic, std::uint8_t value)
{
    auto& adapter = ecu::kova::rt::SignalAdapter::instance();
    auto group = adapter.create_sg(topic);
    static_cast<void>(group.set_signal_data(group.default_signal_name(), {value}));
    return adapter.pack(group).value();
}
