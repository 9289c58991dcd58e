#include "modem/modem.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");
const ecu::kova::logging::Module& LOG_STATE = ecu::kova::logging::module("celld.modem.state");

} // namespace

Modem::Modem(std::unique_ptr<ecu::kova::config::Configuration> configuration, std::shared_ptr<AtTtyPort> port,
             Clock& clock, ecu::kova::com::TransportType transport)
    : configuration_(std::move(configuration)), port_(std::move(port)), clock_(clock), transport_(transport),
      sim_(port_, &data_, clock), backend_watch_([this] { return backend_connected_.load(); }, clock),
      search_reattach_(limits_.nw_search_reattach_timer), search_reset_(limits_.nw_search_modem_reset_timer),
      port_wait_passes_(PORT_WAIT_PASSES), pdp_wait_(PDP_WAIT_PASSES), activation_(ACTIVATION_TRIES)
{
    port_->add_observer(this);
}

Modem::~Modem()
{
    if (subscription_ != nullptr) {
        subscription_->target(nullptr);
    }
    port_wait_.stop_and_join();
    if (antenna_ != nullptr) {
        antenna_->stop();
    }
    backend_watch_.stop();
    static_cast<void>(port_->stop()); // the port thread calls `urc`
}

bool Modem::change_state(State to)
{
    const State from = state_.load();
    if (to == from) {
        return true;
    }
    if (!transition_allowed(from, to)) {
        LOG_STATE.warning("State transition from '", state_text(from), "' to '", state_text(to),
                          "' not allowed!");
        return false;
    }
    if (row_of(to).traits.searching && !row_of(from).traits.searching) {
        search_reattach_.restart();
        search_reset_.restart();
    }
    if (row_of(from).traits.network && !row_of(to).traits.network) {
        backend_watch_.stop();
    }
    if (to == State::WAITING_FOR_ATPORT) {
        port_wait_passes_.restart();
    }
    if (to == State::ACTIVATE_CONTEXT) {
        pdp_wait_.restart();
    }
    LOG_STATE.notice("Change state from '", state_text(from), "' to '", state_text(to), "'");
    state_.store(to);
    return true;
}

void Modem::stop() noexcept
{
    LOG.defer(ecu::kova::logging::Level::NOTICE, "celld will be stopped ...");
    stop_requested_.store(true);
    running_.store(false);
}
