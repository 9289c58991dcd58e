#include "modem/urc_inbox.hpp"

#include "at/at_text.hpp"
#include "at/fields.hpp"
#include "modem/decisions.hpp"

#include <ecu/kova/logging.hpp>

#include <optional>
#include <utility>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem.urc");

using registration::Domain;

// Indicators of the module's +CIEV (its AT manual, +UCIND).
constexpr int SIGNAL_QUALITY = 2;
constexpr int SERVICE = 3;
constexpr int SIM_DETECTION = 12;

/// Two numbers behind a prefix; nothing unless both are there.
std::optional<std::pair<int, int>> two_numbers(const AtCommandResponse& response, const char* prefix)
{
    const at::Fields fields(response, prefix);
    const auto first = fields[0].decimal();
    const auto second = fields[1].decimal();
    return first && second ? std::optional(std::pair(*first, *second)) : std::nullopt;
}

} // namespace

UrcInbox::UrcInbox(UrcQueue& queue, ModemData& data, SimHandler& sim, RegistrationWatch& registration,
                   StateMachine& machine, Clock& clock)
    : queue_(queue), data_(data), sim_(sim), registration_(registration), machine_(machine), clock_(clock),
      unreadable_(LOG, ecu::kova::logging::Level::WARNING, "unreadable reports", clock)
{
}

bool UrcInbox::process()
{
    for (const auto& response : queue_.take_all()) {
        dispatch(response);
    }
    if (std::exchange(sim_inserted_, false)) {
        on_sim_inserted();
    }
    const bool followed = registration_.follow();
    if (auto& backoff = data_.nw_friendly_mode; backoff.take_news()) {
        machine_.change(decisions::by_backoff(machine_.state(), backoff.active(), backoff.type()),
                        std::string("network friendly mode, ") + defs::to_str(backoff.type()));
    }
    return followed;
}

/// Once, however often the contact bounced. A card that needs longer is waited for.
void UrcInbox::on_sim_inserted()
{
    sim_.sim_detection(defs::SimDetection::INSERTED);
    if (!sim_.is_ready() && machine_.traits().network) {
        machine_.change(ModemState::WAITING_FOR_SIM, "SIM inserted");
    }
}

void UrcInbox::dispatch(const AtCommandResponse& response)
{
    if (response == "+CREG") {
        on_registration(Domain::CS, response);
    } else if (response == "+CGREG") {
        on_registration(Domain::PS, response);
    } else if (response == "+CEREG") {
        on_registration(Domain::EPS, response);
    } else if (response == "+CGEV") {
        LOG.info("GPRS event: ", response.value);
    } else if (response == "+UREG") {
        on_ext_ps_registration(response);
    } else if (response == "+UUNFM") {
        on_network_friendly_mode(response);
    } else if (response == "+CIEV") {
        on_indicator(response);
    } else if (response == "+UMWI") {
        // message waiting: nothing of ours
    } else {
        LOG.debug("Unhandled URC: '", response.prefix, "' val: '", response.value, "'");
    }
}

void UrcInbox::on_registration(Domain domain, const AtCommandResponse& response)
{
    const auto update = registration::parse_urc(domain, response.complete_message());
    if (!update) {
        unreadable_.write("Unable to read the registration in '",
                          at::mask_secrets(response.complete_message()), "'");
        return;
    }
    data_.apply(domain, *update);
    const std::string status = defs::text_of(defs::CREG_ENUM_MAP, update->status);
    switch (domain) {
    case Domain::CS:
        LOG.info("NW registration status: ", status, " (", update->status, ")");
        break;
    case Domain::PS:
        LOG.info("GPRS registration status: ", status, " (", update->status, ") RAT: ",
                 defs::text_of(defs::RAT_ENUM_MAP, update->access_technology.value_or(data_.nw_reg.rat)));
        break;
    case Domain::EPS:
        LOG.info("EPS registration status: ", status, " (", update->status, ")",
                 update->reject_cause
                     ? " cause: " + defs::text_of(defs::CAUSE_ENUM_MAP, *update->reject_cause)
                     : "");
        break;
    }
}

void UrcInbox::on_ext_ps_registration(const AtCommandResponse& response)
{
    const at::Fields fields(response, "+UREG");
    const bool late_answer = fields.size() > 1; // +UREG: <n>,<state>
    if (!late_answer && fields.read(0, data_.nw_reg.ureg)) {
        const int state = data_.nw_reg.ureg;
        LOG.info("Ext PS registration: ", state, " = ", defs::text_of(defs::UREG_ENUM_MAP, state));
    }
}

// +UUNFM: <mode>[,<seconds>]
void UrcInbox::on_network_friendly_mode(const AtCommandResponse& response)
{
    const at::Fields fields(response, "+UUNFM");
    const auto mode = fields[0].decimal();
    if (!mode) {
        unreadable_.write("Unable to read the back-off in '", response.complete_message(), "'");
        return;
    }
    const auto type = static_cast<defs::NwFriendlyModeType>(*mode);
    const int seconds = fields[1].decimal().value_or(0);
    data_.nw_friendly_mode.report(type, std::chrono::seconds(seconds), clock_.now());
    LOG.notice("Network friendly mode backoff: ", defs::to_str(type), " = ", seconds, " s");
}

void UrcInbox::on_sim_detection(defs::SimDetection detection)
{
    sim_inserted_ = sim_inserted_ || detection == defs::SimDetection::INSERTED;
    data_.card_removed = detection == defs::SimDetection::REMOVED;
    if (data_.card_removed) {
        sim_.card_removed();
        data_.operator_data = {}; // what its network said is no news any more
        data_.antenna.forget();
    }
}

// +CIEV: <indicator>,<value>
void UrcInbox::on_indicator(const AtCommandResponse& response)
{
    const auto values = two_numbers(response, "+CIEV");
    if (!values) {
        LOG.info("Unhandled CIEV URC: ", response.value);
        return;
    }
    const auto [indicator, value] = *values;
    switch (indicator) {
    case SERVICE:
        data_.service_available = value != 0;
        LOG.info("Network service availability: ",
                 data_.service_available ? "Registered on network" : "Not registered on network");
        break;
    case SIM_DETECTION:
        on_sim_detection(static_cast<defs::SimDetection>(value));
        break;
    case SIGNAL_QUALITY:
        data_.antenna.signal_quality(defs::signal_quality_of(value));
        LOG.info("Received signal quality indication: ", defs::to_str(data_.antenna.signal_quality()), " (",
                 value, ")");
        break;
    default:
        LOG.info("Unhandled CIEV URC: ", indicator, ",", value);
        break;
    }
}
