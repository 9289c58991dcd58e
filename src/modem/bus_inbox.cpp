#include "modem/bus_inbox.hpp"

#include "bus/message_adapter.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/rt/signal_adapter.hpp>

namespace {

namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr const char* BLACKOUT_SIGNAL = "blackout_mode";

/// Other services may repeat what they said for ever: only news is part of the day's story.
ecu::kova::logging::Level level_of(bool news)
{
    return news ? ecu::kova::logging::Level::NOTICE : ecu::kova::logging::Level::INFO;
}

} // namespace

void BusInbox::message(const std::string& topic, const ecu::kova::com::Message& message)
{
    LOG.info("Received message on topic: ", topic);
    if (topic == BLACKOUT_TOPIC) {
        on_blackout(message);
    } else if (topic == BACKEND_TOPIC) {
        on_backend(topic, message);
    }
}

void BusInbox::on_blackout(const ecu::kova::com::Message& message)
{
    const auto group = ecu::kova::rt::SignalAdapter::instance().unpack(message);
    if (!group) {
        LOG.error("Unable to unpack the signal of ", BLACKOUT_TOPIC, ": ", group.error());
        return;
    }
    const auto value = group.value().signal(BLACKOUT_SIGNAL);
    if (!value || value->size() != 1) {
        LOG.notice("Blackout mode without its one byte, dismissing");
        return;
    }
    const bool on = value->front() == 1;
    LOG.write(level_of(orders_.radio_silence(on)), "Blackout Mode: ", on ? "TRUE" : "FALSE");
}

void BusInbox::on_backend(const std::string& topic, const ecu::kova::com::Message& message)
{
    ecu::kova::com::PbInternalMessageAdapter<pb::BackendProxyStatus> adapter;
    const auto result = adapter.deserialize(message);
    if (!result) {
        LOG.error("Unable to deserialize received message (", result.code, "), topic: ", topic);
        return;
    }
    if (!result.value.has_status()) {
        LOG.notice("BE status has not been set in message, dismissing");
        return;
    }
    const bool connected = result.value.status() == pb::BackendProxyStatus_Status_BACKEND_CONNECTED;
    LOG.write(level_of(orders_.backend_connected(connected)),
              "Received new Backend status : ", static_cast<int>(result.value.status()));
}
