#include "at/at_text.hpp"
#include "at/fields.hpp"
#include "modem/decisions.hpp"
#include "modem/modem.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

using registration::Domain;

constexpr auto OPERATOR_TIMEOUT = 180s; // +COPS: up to 3 minutes (AT manual)
constexpr auto UPDATE_INTERVAL = 5s;    // between two looks at the registration; URCs bring changes at once
constexpr int AUTOMATIC_SELECTION = 0;  // <mode> of +COPS (3GPP TS 27.007, 7.3)

} // namespace

bool Modem::is_network_search_active() const
{
    // +COPS: <mode>[,<format>,"<oper>"[,<AcT>]]
    const auto answer = port_->execute(AtCommand("+COPS?", OPERATOR_TIMEOUT));
    if (!answer.is_ok()) {
        LOG.warning("Unable to query the operator selection (+COPS?): ", to_log_text(answer.unwrapErr()));
        return false;
    }
    const auto fields = at::split_fields(answer.unwrap().payload("+COPS"));
    return fields.front().decimal() == AUTOMATIC_SELECTION;
}

Result Modem::start_network_search()
{
    auto answer = port_->execute(AtCommand("+COPS=0", OPERATOR_TIMEOUT));
    if (answer.is_ok()) {
        LOG.notice("Set automatic operator selection, start NW search.");
    } else {
        LOG.warning("Unable to start the NW search (+COPS=0): ", to_log_text(answer.unwrapErr()));
    }
    return answer;
}

Result Modem::stop_network_search(unsigned int seconds)
{
    auto answer = port_->execute(AtCommand("+COPS=2", OPERATOR_TIMEOUT));
    if (answer.is_ok()) {
        LOG.notice("Stop automatic operator selection, stop NW search. Wait ", seconds, " seconds");
        clock_.sleep_for(std::chrono::seconds(seconds));
    } else {
        LOG.warning("Unable to stop the NW search (+COPS=2): ", to_log_text(answer.unwrapErr()));
    }
    next_registration_update_.reset(); // what is known of the registration is old now
    return answer;
}

void Modem::update_registration_status()
{
    if (!row_of(state_).traits.network) {
        return;
    }
    const auto now = clock_.now();
    if (next_registration_update_ && now < *next_registration_update_) {
        return;
    }
    next_registration_update_ = now + UPDATE_INTERVAL;

    query_registration(Domain::CS);
    query_registration(Domain::PS);
    if (variant_->supports_lte() != 0) {
        query_registration(Domain::EPS);
    }
    int mode = -1;
    int state = -1;
    const auto answer = port_->execute(AtCommand("+UREG?"), "%d,%d", &mode, &state);
    if (answer.is_ok() && state >= 0) {
        data_.nw_reg.ureg = state;
    }
}

void Modem::query_registration(Domain domain)
{
    const AtCommand query(std::string(registration::prefix_of(domain)) + "?");
    const auto answer = port_->execute(query);
    if (!answer.is_ok()) {
        LOG.info("Unable to query the registration (", query.text_for_log(),
                 "): ", to_log_text(answer.unwrapErr()));
        return;
    }
    const auto update = registration::parse_answer(domain, answer.unwrap().complete_message());
    if (!update) {
        LOG.warning("Unable to read the registration in '",
                    at::mask_secrets(answer.unwrap().complete_message()), "'");
        return;
    }
    data_.apply(domain, *update);
}

Modem::State Modem::evaluate_registration_status() const
{
    const auto search_active = [this] { return is_network_search_active(); };
    const State current = state_;
    const State next = decisions::by_registration(current, data_.nw_reg, search_active);
    const int status = data_.nw_reg.deciding_status();
    if (status == registration::stat::UNKNOWN && next == State::REGISTERING) {
        LOG.info("Registration status reached '", defs::text_of(defs::CREG_ENUM_MAP, status),
                 "', try to re-register");
    }
    return next;
}

Modem::State Modem::evaluate_backoff_timer() const
{
    return decisions::by_backoff(state_, backoff_active_, data_.nw_friendly_mode.type);
}

Modem::State Modem::evaluate_radio_silence() const
{
    return decisions::by_radio_silence(state_, off_by_parameter_or_refusal(), blackout_);
}

Modem::CommunicationStatus Modem::get_communication_status()
{
    if (port_->is_write_error()) {
        LOG.error("AtTtyPort write failures has reached threshold limit!");
        return CommunicationStatus::WRITE_ERRORS;
    }
    if (port_->is_timeout()) {
        LOG.error("AtTtyPort too many timeouts. Threshold limit reached!");
        return CommunicationStatus::TIMEOUTS;
    }
    // A port whose loop has ended by itself is lost even when its node is there again: nothing it is given is
    // sent.
    if (port_->is_available() && port_->is_running()) {
        return CommunicationStatus::HEALTHY;
    }
    LOG.notice("AtTtyPort doesn't seem to be available, try AT-command");
    return port_->execute(AtCommand("")).is_ok() ? CommunicationStatus::HEALTHY : CommunicationStatus::LOST;
}
