#include "in_process_client.hpp"
#include "mqtt_client.hpp"

#include <ecu/kova/com/transport_client.hpp>

namespace ecu::kova::com {

std::shared_ptr<ITransportClient> create_client(const config::Configuration& configuration,
                                                TransportType type)
{
    switch (type) {
    case TransportType::MQTT:
        return std::make_shared<MqttClient>(configuration);
    case TransportType::IN_PROCESS:
        return std::make_shared<InProcessClient>();
    }
    return nullptr;
}

} // namespace ecu::kova::com
