#pragma once

#include "modem/orders.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <string>

/// What the bus tells the modem: radio silence and the backend's connection. Called on the bus client's
/// thread; only turns messages into orders. Logs on "celld.modem".
class BusInbox {
public:
    static constexpr const char* BLACKOUT_TOPIC = "rt/system/blackout_mode";
    static constexpr const char* BACKEND_TOPIC = "be/status";

    explicit BusInbox(Orders& orders) : orders_(orders) {}

    void message(const std::string& topic, const ecu::kova::com::Message& message);

private:
    void on_blackout(const ecu::kova::com::Message& message);
    void on_backend(const std::string& topic, const ecu::kova::com::Message& message);

    Orders& orders_;
};
