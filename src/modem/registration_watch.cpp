#include "modem/registration_watch.hpp"

#include "at/at_text.hpp"
#include "at/registration_lines.hpp"
#include "modem/causes.hpp"
#include "modem/decisions.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

using registration::Domain;

} // namespace

RegistrationWatch::RegistrationWatch(AtTtyPort& port, const std::shared_ptr<ModemVariant>& variant,
                                     ModemData& data, StateMachine& machine, NetworkSearch& search,
                                     Clock& clock)
    : port_(port), variant_(variant), data_(data), machine_(machine), search_(search), clock_(clock)
{
}

void RegistrationWatch::update()
{
    const auto now = clock_.now();
    if (!machine_.traits().network || (next_update_ && now < *next_update_)) {
        return;
    }
    next_update_ = now + UPDATE_INTERVAL;

    query(Domain::CS);
    query(Domain::PS);
    if (variant_->supports_lte() != 0) {
        query(Domain::EPS);
    }
    query_extended();
}

void RegistrationWatch::query(Domain domain)
{
    const AtCommand query(std::string(registration::prefix_of(domain)) + "?");
    const auto answer = port_.execute(query);
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

// +UREG: <n>,<state>
void RegistrationWatch::query_extended()
{
    int mode = -1;
    int state = -1;
    const auto answer = port_.execute(AtCommand("+UREG?"), "%d,%d", &mode, &state);
    if (answer.is_ok() && state >= 0) {
        data_.nw_reg.ureg = state;
    }
}

bool RegistrationWatch::wants_search_state() const
{
    const bool asked = machine_.traits().network || machine_.state() == ModemState::CONFIGURED;
    return asked && data_.nw_reg.deciding_status() == registration::stat::SEARCHING;
}

ModemState RegistrationWatch::evaluate(bool search_active) const
{
    const ModemState next = decisions::by_registration(machine_.state(), data_.nw_reg, search_active);
    const int status = data_.nw_reg.deciding_status();
    if (status == registration::stat::UNKNOWN && next == ModemState::REGISTERING) {
        LOG.info("Registration status reached '", defs::text_of(defs::CREG_ENUM_MAP, status),
                 "', try to re-register");
    }
    return next;
}

bool RegistrationWatch::follow()
{
    return machine_.change(evaluate(wants_search_state() && search_.query_active()),
                           causes::of_registration(data_));
}

bool RegistrationWatch::is_registered() const
{
    return registration::is_registered(data_.nw_reg.deciding_status());
}
