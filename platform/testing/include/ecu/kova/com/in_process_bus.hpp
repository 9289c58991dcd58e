#pragma once

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// The bus that the clients of TransportType::IN_PROCESS share, as a test sees and steers it. It behaves as a
/// broker does: it keeps the newest retained message of each topic, and every client delivers on a thread of
/// its own, so a published message arrives a moment later (`settle`). Any thread.
namespace ecu::kova::com::in_process {

/// Forgets every message and ends an outage. Clients and their subscriptions stay.
void reset();

/// While true, the bus is away: a retained message is kept by its client until the outage ends, another one
/// is refused (`publish` answers false), and `is_connected` is false.
void set_outage(bool outage);

/// What a late subscriber would be given.
std::optional<Message> retained(const std::string& topic);
/// The messages of one topic that went over the bus since the last `reset`, oldest first; the newest 1000 of
/// all topics are remembered.
std::vector<Message> history(const std::string& topic);
std::optional<Message> last(const std::string& topic);
/// How many messages of one topic went over the bus since the last `reset`.
std::size_t count(const std::string& topic);

/// What the bus would publish under this topic if a client that is there now were killed.
std::optional<Message> last_will(const std::string& topic);

/// Publishes as another program on the bus would.
void publish(const std::string& topic, const Message& message);

/// Waits until every client has delivered what was published before; false when `timeout` came first.
bool settle(std::chrono::milliseconds timeout);

} // namespace ecu::kova::com::in_process
