#pragma once

#include "modem/orders.hpp"
#include "utils/recurring_record.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <string>

/// What the bus tells the modem: radio silence and the backend's connection. Called on the bus client's
/// thread; only turns messages into orders. What cannot be read may come without end: it is logged once, then
/// counted. Logs on "celld.modem".
class BusInbox {
public:
    static constexpr const char* BLACKOUT_TOPIC = "rt/system/blackout_mode";
    static constexpr const char* BACKEND_TOPIC = "be/status";

    BusInbox(Orders& orders, Clock& clock);

    void message(const std::string& topic, const ecu::kova::com::Message& message);
    /// How many unreadable messages a minute has seen. Any thread.
    void tell_counts();

private:
    void on_blackout(const ecu::kova::com::Message& message);
    void on_backend(const std::string& topic, const ecu::kova::com::Message& message);

    Orders& orders_;
    RecurringRecord unreadable_blackout_;
    RecurringRecord dismissed_blackout_;
    RecurringRecord unreadable_backend_;
    RecurringRecord dismissed_backend_;
};
