#include "modem/bus_inbox.hpp"

#include "bus/message_adapter.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/rt/signal_adapter.hpp>

namespace {

namespace pb = ecu::kova::pb;

using ecu::kova::logging::Level;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr const char* BLACKOUT_SIGNAL = "blackout_mode";

/// Other services may repeat what they said for ever: only news is part of the day's story.
Level level_of(bool news)
{
    return news ? Level::NOTICE : Level::INFO;
}

} // namespace

BusInbox::BusInbox(Orders& orders, Clock& clock)
    : orders_(orders),
      unreadable_blackout_(LOG, Level::ERROR, std::string("unreadable signals of ") + BLACKOUT_TOPIC, clock),
      dismissed_blackout_(LOG, Level::NOTICE, "blackout messages without their one byte", clock),
      unreadable_backend_(LOG, Level::ERROR, std::string("unreadable messages on ") + BACKEND_TOPIC, clock),
      dismissed_backend_(LOG, Level::NOTICE, "messages without a BE status", clock)
{
}

void BusInbox::tell_counts()
{
    for (auto* record :
         {&unreadable_blackout_, &dismissed_blackout_, &unreadable_backend_, &dismissed_backend_}) {
        record->tell_count();
    }
}

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
        unreadable_blackout_.write("Unable to unpack the signal of ", BLACKOUT_TOPIC, ": ", group.error());
        return;
    }
    const auto value = group.value().signal(BLACKOUT_SIGNAL);
    if (!value || value->size() != 1) {
        dismissed_blackout_.write("Blackout mode without its one byte, dismissing");
        return;
    }
    const bool on = value->front() == 1;
    LOG.write(level_of(orders_.radio_silence(on)), "Blackout Mode: ", on ? "TRUE" : "FALSE");
}

void BusInbox::on_backend(const std::string& topic, const ecu::kova::com::Message& message)
{
    ecu::kova::com::PbInternalMessageAdapter<pb::BackendProxyStatus> adapter;
    adapter.log_refusals(false);
    const auto result = adapter.deserialize(message);
    if (!result) {
        if (unreadable_backend_.take()) {
            adapter.log_refusals(true);
            static_cast<void>(adapter.deserialize(message)); // for the reason, in its own words
            LOG.error("Unable to deserialize received message (", result.code, "), topic: ", topic);
        }
        return;
    }
    if (!result.value.has_status()) {
        dismissed_backend_.write("BE status has not been set in message, dismissing");
        return;
    }
    const bool connected = result.value.status() == pb::BackendProxyStatus_Status_BACKEND_CONNECTED;
    LOG.write(level_of(orders_.backend_connected(connected)),
              "Received new Backend status : ", static_cast<int>(result.value.status()));
}
