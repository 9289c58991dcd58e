#include "variant/modem_variant.hpp"

#include "at/at_text.hpp"

using namespace std::chrono_literals;

namespace {

constexpr auto RF_TIMEOUT = 180s;       // +CFUN, +CGACT: up to 3 minutes (AT manual)
constexpr auto POWER_OFF_TIMEOUT = 40s; // +CPWROFF: the network detach included (AT manual)

} // namespace

ModemVariant::ModemVariant(int context_id, const ecu::kova::logging::Module& log, Clock& clock)
    : context_id_(context_id), log_(log), clock_(clock),
      context_unknown_(log, ecu::kova::logging::Level::ERROR, "the state of the data context (+CGACT?)",
                       clock)
{
}

void ModemVariant::power_on(const std::shared_ptr<GpioCtrl>& gpio)
{
    gpio->pwron(GpioCtrl::PinValue::LOW);
    gpio->reset(GpioCtrl::PinValue::LOW);
    gpio->vcc(GpioCtrl::PinValue::HIGH);
    gpio->pwron(GpioCtrl::PinValue::HIGH);
}

const AtCommand& ModemVariant::disable_rf() const
{
    static const AtCommand COMMAND("+CFUN=4", RF_TIMEOUT);
    return COMMAND;
}

const AtCommand& ModemVariant::enable_rf() const
{
    static const AtCommand COMMAND("+CFUN=1", RF_TIMEOUT);
    return COMMAND;
}

ContextState ModemVariant::query_context(const Port& port, const char* failure_text) const
{
    log().debug("Query PDP context");
    const AtCommand query("+CGACT?");
    const auto answer = port->execute(query);
    if (!answer.is_ok()) {
        context_unknown_.failed(failure_text, query.text_for_log(), "': ", to_log_text(answer.unwrapErr()));
        return ContextState::UNKNOWN;
    }
    context_unknown_.succeeded();
    const auto contexts = utils::extract_cid_from_cgact(answer.unwrap().complete_message());
    const auto own = contexts.find(context_id_);
    return own != contexts.end() && own->second ? ContextState::ACTIVE : ContextState::INACTIVE;
}

ActivationCode ModemVariant::activate_with(const Port& port, const AtCommand& command,
                                           bool knows_cdc_ecm) const
{
    log().info("Activate PDP context");
    const auto answer = port->execute(command);
    if (answer.is_ok()) {
        return ActivationCode::ACTIVATED;
    }
    const AtError& error = answer.unwrapErr();
    if (error.is_interruption()) {
        return ActivationCode::INTERRUPTED;
    }
    if (error.says("Service not subscribed")) {
        return ActivationCode::NOT_SUBSCRIBED;
    }
    if (knows_cdc_ecm && error.says("CDC-ECM is busy")) {
        return ActivationCode::CDC_ECM_BUSY;
    }
    log().error("Context activation failed with: ", to_log_text(error));
    return error.code == AtErrorCode::Timeout ? ActivationCode::UNANSWERED : ActivationCode::OTHER_FAILURE;
}

bool ModemVariant::deactivate_context(const Port& port) const
{
    log().info("Deactivate PDP context");
    const AtCommand command("+CGACT=0," + std::to_string(context_id_));
    const auto answer = port->execute(command);
    if (!answer.is_ok()) {
        log().error("Unable to deactivate PDP context : '", command.text_for_log(),
                    "': ", to_log_text(answer.unwrapErr()));
    }
    return answer.is_ok();
}

void ModemVariant::ask_module_to_power_off(const Port& port) const
{
    if (!port->is_available()) {
        return;
    }
    // Whatever it answers, the supply goes next.
    AtCommand power_off("+CPWROFF", POWER_OFF_TIMEOUT);
    power_off.interruptible = false; // whoever interrupts wants just this
    static_cast<void>(port->execute(power_off));
    static_cast<void>(port->stop());
}

ApnText::ApnText(const std::string& text)
{
    const std::size_t colon = text.find(':'); // no character of an access point name (3GPP TS 23.003, 9.1)
    name = text.substr(0, colon);
    if (colon != std::string::npos) {
        authentication = defs::from_str(text.substr(colon + 1), defs::ApnAuthenticationType::NONE);
    }
}
