#include "modem/modem.hpp"
#include "modem/modem_pauses.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto CONNECTED_PAUSE = 2s;
constexpr auto ACTIVATION_PAUSE = 2s;
constexpr std::uint32_t MAX_BUSY_IN_A_ROW = 20;
constexpr std::uint32_t MAX_ACTIVATION_GIVEUPS = 5; // without a connection in between

} // namespace

/// In what the three searching states differ.
struct Modem::Search {
    State state;
    pb::ModemStatus_ModemState published;
    const char* expired; // before " timer expired"
};

bool Modem::is_registered() const
{
    return registration::is_registered(data_.nw_reg.deciding_status());
}

/// Counts a pass without registration: rests, starts the search anew every two minutes, resets the module
/// after half an hour (with the default limits).
Modem::Pass Modem::supervise(const Search& search)
{
    if (search_reset_.expired()) {
        LOG.warning("Network search modem reset timer expired (", search_reset_.limit(),
                    " seconds), enforce re-registration!");
        search_reattach_.restart();
        search_reset_.restart();
        prepare_reset(pb::ModemStatus_ModemResetReason_NETWORK_SEARCH_TIMEOUT);
        return {};
    }
    search_reset_.tick();
    if (!search_reattach_.expired()) {
        search_reattach_.tick();
        return publish_and_rest(search.published, PASS_PAUSE);
    }
    LOG.warning(search.expired, " timer expired (", search_reattach_.limit(),
                " seconds), enforce re-registration!");
    search_reattach_.restart();
    restart_search();
    return {};
}

void Modem::restart_search()
{
    const bool stopped = stop_network_search(DEREGISTRATION_S).is_ok();
    if (state_ != State::REGISTERING) {
        change_state(State::REGISTERING); // which starts it
    } else if (stopped) {
        static_cast<void>(start_network_search()); // the next pass sees whether it searches
    } else {
        LOG.error(
            "Unable to stop network search, the modem hw seem to be misbehaving, enforce modem reset (via "
            "timer)!");
        search_reset_.exhaust();
    }
}

Modem::Pass Modem::step_registering()
{
    update_registration_status();
    change_state(evaluate_registration_status());
    if (state_ == State::REGISTERED) {
        return {}; // nothing to search for
    }
    if (!is_network_search_active()) {
        search_reattach_.restart();
        static_cast<void>(start_network_search()); // the next pass sees whether it searches
    }
    LOG.debug("NW Search re-attached counter: ", search_reattach_.count());
    LOG.debug("NW Search modem reset counter: ", search_reset_.count());
    return supervise({State::REGISTERING, pb::ModemStatus_ModemState_CONNECTING, "Network search re-attach"});
}

Modem::Pass Modem::step_disconnected()
{
    return await_registration(
        {State::DISCONNECTED, pb::ModemStatus_ModemState_DISCONNECTING, "Disconnected"});
}

Modem::Pass Modem::step_searching()
{
    return await_registration({State::SEARCHING, pb::ModemStatus_ModemState_SEARCHING, "Searching"});
}

Modem::Pass Modem::await_registration(const Search& search)
{
    update_registration_status();
    change_state(evaluate_registration_status());
    return state_ == search.state ? supervise(search) : Pass{};
}

Modem::Pass Modem::step_registered()
{
    data_.pb_state(pb::ModemStatus_ModemState_CONNECTING);
    update_registration_status();
    change_state(evaluate_registration_status());
    if (state_ != State::REGISTERED) {
        return {};
    }
    if (data_.nw_reg.rat == defs::RAT_EUTRAN) {
        LOG.info("EUTRAN/LTE, no need to activate the context.");
        enter_activate_context();
        return {};
    }
    const auto code = activate_context();
    if (code == ActivationCode::ACTIVATED) {
        enter_activate_context();
        return {};
    }
    return activation_failed(code);
}

void Modem::enter_activate_context()
{
    rat_at_activation_ = data_.nw_reg.rat;
    activation_.restart();
    busy_in_a_row_ = 0;
    change_state(State::ACTIVATE_CONTEXT);
}

Modem::Pass Modem::activation_failed(ActivationCode code)
{
    if (code == ActivationCode::NOT_SUBSCRIBED) {
        LOG.error(
            "Subscriber is not allowed to setup a data context ('Service not subscribed'), modem will be "
            "turned off");
        subscription_refused_ = true;
        activation_.restart();
        change_state(State::POWER_OFF);
        return {};
    }
    return code == ActivationCode::CDC_ECM_BUSY ? data_path_busy() : activation_unsuccessful();
}

Modem::Pass Modem::data_path_busy()
{
    LOG.warning("Data context activation failed as CDC-ECM is busy, re-register.");
    activation_.restart();
    if (++busy_in_a_row_ >= MAX_BUSY_IN_A_ROW) {
        give_up_activation();
        return {};
    }
    change_state(State::REGISTERING);
    return {false, ACTIVATION_PAUSE};
}

Modem::Pass Modem::activation_unsuccessful()
{
    busy_in_a_row_ = 0;
    if (activation_.expired()) {
        LOG.warning("Other context activation failure after ", activation_.count(),
                    " retries, re-registration will be triggered");
        give_up_activation();
        return {};
    }
    LOG.notice("Context activation unsuccessful (", activation_.count(), "/", activation_.limit(), " )!");
    activation_.tick();
    return {false, ACTIVATION_PAUSE};
}

/// Registers anew; when that has not helped either for a while, the module is reset.
void Modem::give_up_activation()
{
    activation_.restart();
    busy_in_a_row_ = 0;
    if (++activation_giveups_ >= MAX_ACTIVATION_GIVEUPS) {
        LOG.error("No data context after ", activation_giveups_, " registrations, initiate modem reset.");
        activation_giveups_ = 0;
        prepare_reset(pb::ModemStatus_ModemResetReason_CONTEXT_SETUP_ERROR);
        return;
    }
    static_cast<void>(stop_network_search(DEREGISTRATION_S)); // REGISTERING starts it again either way
    change_state(State::REGISTERING);
}

Modem::Pass Modem::step_activate_context()
{
    data_.pb_state(pb::ModemStatus_ModemState_CONNECTING);
    update_registration_status();
    if (!is_registered()) {
        change_state(State::REGISTERING);
        return {};
    }
    if (variant_->is_pdp_context_active(port_) == ContextState::ACTIVE) {
        connected();
        return {};
    }
    if (data_.nw_reg.rat != rat_at_activation_) {
        LOG.notice("RAT changed from ", defs::text_of(defs::RAT_ENUM_MAP, rat_at_activation_), " to ",
                   defs::text_of(defs::RAT_ENUM_MAP, data_.nw_reg.rat), " re-initiate activation.");
        change_state(State::REGISTERED);
        return {false, PASS_PAUSE};
    }
    if (!pdp_wait_.expired()) {
        LOG.info("Waiting for PDP/EPS context activation (", pdp_wait_.count(), "/", pdp_wait_.limit(),
                 " )!");
        pdp_wait_.tick();
        return {false, PASS_PAUSE};
    }
    LOG.warning("PDP/EPS context never got activated after ", pdp_wait_.count(),
                " retries, re-registration will be triggered");
    give_up_activation();
    return {};
}

/// The data context is up: what went wrong on the way is forgiven.
void Modem::connected()
{
    change_state(State::CONNECTED);
    pdp_wait_.restart();
    resets_ = 0;
    reconfigurations_ = 0;
    sim_resets_ = 0;
    sim_.clear_errors();
    activation_giveups_ = 0;
    hw_error_owed_ = false;
}

Modem::Pass Modem::step_connected()
{
    if (action_ == RunAction::CONNECT) {
        return {true, 0ms};
    }
    update_registration_status();
    if (!is_registered()) {
        change_state(State::REGISTERING);
        data_.pb_state(pb::ModemStatus_ModemState_CONNECTING);
        return {};
    }
    // Only an answer counts: an error or a time-out takes no working link down.
    if (variant_->is_pdp_context_active(port_) == ContextState::INACTIVE) {
        LOG.warning("Data context lost, re-register!");
        publish_state(pb::ModemStatus_ModemState_CONNECTING);     // now: stopping the search takes a while
        static_cast<void>(stop_network_search(DEREGISTRATION_S)); // REGISTERING starts it again either way
        change_state(State::REGISTERING);
        return {};
    }
    watch_backend();
    return {false, CONNECTED_PAUSE};
}

void Modem::watch_backend()
{
    if (backend_connected_) {
        if (backend_watch_.active()) {
            LOG.notice("BE connection detected, stopping timer");
            backend_watch_.stop();
        }
        data_.pb_state(pb::ModemStatus_ModemState_CONNECTED);
    } else if (limits_.modem_restart_timeout != 0 && !backend_watch_.active()) {
        LOG.notice("No BE connection, starting timer");
        backend_watch_.start(limits_.modem_restart_timeout);
    }
}

Modem::Pass Modem::step_backoff()
{
    const auto report = variant_->check_backoff_timer(port_, BACKOFF_QUERY_INTERVAL_S, backoff_schedule_);
    if (report.failed) {
        LOG.notice("Unable to query +UNFM");
    }
    // What the module said last counts where it cannot be asked.
    if ((report.queried && report.remaining_s == 0) || clock_.now() >= backoff_until_) {
        LOG.notice("Back-off timer expired, changing state");
        backoff_active_ = false;
        backoff_schedule_.next.reset();
        change_state(State::REGISTERING);
    }
    // Barred by the network: no link, and none being made.
    return publish_and_rest(pb::ModemStatus_ModemState_DISCONNECTING, PASS_PAUSE);
}
