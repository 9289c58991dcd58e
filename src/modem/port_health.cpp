#include "modem/port_health.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

PortHealth::Status PortHealth::query()
{
    if (port_.is_write_error()) {
        LOG.error("AtTtyPort write failures has reached threshold limit!");
        return Status::WRITE_ERRORS;
    }
    if (port_.is_timeout()) {
        LOG.error("AtTtyPort too many timeouts. Threshold limit reached!");
        return Status::TIMEOUTS;
    }
    // A port whose loop has ended by itself is lost even when its node is there again: nothing it is given is
    // sent.
    if (port_.is_available() && port_.is_running()) {
        return Status::HEALTHY;
    }
    LOG.notice("AtTtyPort doesn't seem to be available, try AT-command");
    return port_.execute(AtCommand("")).is_ok() ? Status::HEALTHY : Status::LOST;
}

void PortHealth::watch()
{
    if (!machine_.traits().port_owed) {
        return;
    }
    const Status status = query();
    if (status != Status::HEALTHY && machine_.state() == S::BACKOFF) {
        machine_.change(S::REGISTERING,
                        "port lost or bad"); // the only way out; the next pass finds the port as bad and acts
        return;
    }
    switch (status) {
    case Status::HEALTHY:
        break;
    case Status::LOST:
        port_lost();
        break;
    case Status::WRITE_ERRORS:
        LOG.error("AtTtyPort write error. Reseting modem!");
        resets_.prepare(pb::ModemStatus_ModemResetReason_AT_PORT_WRITE_ERROR, "the port takes no commands");
        break;
    case Status::TIMEOUTS:
        LOG.error("AtTtyPort timed out. Reseting modem!");
        resets_.prepare(pb::ModemStatus_ModemResetReason_AT_PORT_TIMEOUT, "the module does not answer");
        break;
    }
}

void PortHealth::port_lost()
{
    if (escalation_.strike(Cause::PORT_LOST) == Verdict::RESET) {
        LOG.error("The port was lost ", escalation_.limit(Cause::PORT_LOST),
                  " times without a connection, initiate modem reset.");
        resets_.prepare(pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE, "port lost again and again");
        return;
    }
    LOG.notice("AtTtyPort not available. Moving to AT_PORT_LOST state");
    machine_.change(S::AT_PORT_LOST, "port lost");
}
