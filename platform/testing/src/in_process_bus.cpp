#include "../../src/com/in_process_broker.hpp"

#include <ecu/kova/com/in_process_bus.hpp>

namespace ecu::kova::com::in_process {

namespace {

InProcessBroker& broker()
{
    return InProcessBroker::instance();
}

} // namespace

void reset()
{
    broker().reset();
}

void set_outage(bool outage)
{
    broker().set_outage(outage);
}

std::optional<Message> retained(const std::string& topic)
{
    return broker().retained(topic);
}

std::vector<Message> history(const std::string& topic)
{
    return broker().history(topic);
}

std::optional<Message> last(const std::string& topic)
{
    const auto messages = history(topic);
    return messages.empty() ? std::nullopt : std::optional<Message>(messages.back());
}

std::size_t count(const std::string& topic)
{
    return broker().count(topic);
}

std::optional<Message> last_will(const std::string& topic)
{
    return broker().will(topic);
}

void publish(const std::string& topic, const Message& message)
{
    broker().publish(topic, message);
}

bool settle(std::chrono::milliseconds timeout)
{
    return broker().settle(timeout);
}

} // namespace ecu::kova::com::in_process
