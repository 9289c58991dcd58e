#include "status/status_handler.hpp"

#include <utility>

StatusHandler::StatusHandler(std::shared_ptr<AtTtyPort> port, ModemData* data, Clock& clock)
    : StatusHandler(std::move(port), data, nullptr, clock)
{
}

StatusHandler::StatusHandler(std::shared_ptr<AtTtyPort> port, ModemData* data,
                             std::shared_ptr<ecu::kova::com::ITransportClient> client, Clock& clock)
    : queries_(std::move(port), *data, clock), publisher_(*data, std::move(client), clock)
{
}

void StatusHandler::update(bool force, bool publish_now)
{
    publisher_.hardware_on_change();
    publisher_.sim_on_change();
    queries_.take_network_change();
    publisher_.registration_on_change();
    queries_.run(force);
    publisher_.status_when_due(publish_now);
}
