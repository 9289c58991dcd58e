#include "modem/network_vigil.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

NetworkVigil::NetworkVigil(StateMachine& machine, const ModulePower& power, Resets& resets,
                           const ModemLimits& limits, const Clock& clock)
    : machine_(machine), power_(power), resets_(resets), clock_(clock),
      limit_(std::chrono::seconds(limits.nw_search_modem_reset_timer) * SEARCH_LIMITS)
{
}

void NetworkVigil::watch()
{
    if (power_ups_ != power_.power_ups() || machine_.state() == S::CONNECTED) {
        power_ups_ = power_.power_ups();
        begin_anew();
    }
    if (!machine_.traits().network) {
        last_look_.reset();
        return;
    }
    const auto now = clock_.now();
    spent_ += now - last_look_.value_or(now);
    last_look_ = now;
    if (spent_ < limit_ || machine_.state() == S::CONNECTED) {
        return;
    }
    LOG.warning("No connection in ", limit_.count(), " seconds on the network, initiate modem reset.");
    begin_anew();
    resets_.prepare(pb::ModemStatus_ModemResetReason_NETWORK_SEARCH_TIMEOUT,
                    "no connection in " + std::to_string(limit_.count()) + " s on the network");
}
