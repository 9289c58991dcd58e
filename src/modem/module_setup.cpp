#include "modem/module_setup.hpp"

#include "modem/command_sequence.hpp"
#include "modem/persistent_settings.hpp"
#include "status/module_identity.hpp"
#include "variant/sara_modem.hpp"
#include "variant/toby_modem.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr int MODEL_TRIES = 3; // a text that is none may be a disturbed answer

} // namespace

ModuleSetup::ModuleSetup(const std::shared_ptr<AtTtyPort>& port, std::shared_ptr<ModemVariant>& variant,
                         SimHandler& sim, ModemData& data, StateMachine& machine, Escalation& escalation,
                         Resets& resets, Clock& clock)
    : port_(port), variant_(variant), sim_(sim), data_(data), machine_(machine), escalation_(escalation),
      resets_(resets), sara_(std::make_shared<SaraModem>(clock)), toby_(std::make_shared<TobyModem>(clock))
{
}

void ModuleSetup::set_up()
{
    const auto started = port_->start();
    if (port_->is_interrupted()) {
        return; // an order overtakes the set-up, which is done anew if anybody wants it still
    }
    if (!started.is_ok()) {
        LOG.error("Unable to start the AT Cmd UART, will try resetting the modem!");
        LOG.notice("AT Cmd UART: ", started.unwrapErr());
        data_.pb_state(pb::ModemStatus_ModemState_FAILED);
        static_cast<void>(
            escalation_.strike(Cause::PORT_MUTE)); // a reset now; the next wait looks at the limit
        resets_.prepare(pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE,
                        "port does not open or answer (" +
                            std::to_string(escalation_.count(Cause::PORT_MUTE)) + " of " +
                            std::to_string(escalation_.limit(Cause::PORT_MUTE)) + ")");
        return;
    }
    static_cast<void>(port_->execute(AtCommand("E0"))); // a module that goes on echoing is understood too
    if (!identify()) {
        return;
    }
    escalation_.module_answered();

    const auto changed = PersistentSettings(port_, *variant_).ensure();
    if (changed && wants_restart(*changed)) {
        LOG.info("The module's persistent settings were changed, restart it"); // the reason names them
        resets_.prepare(pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE,
                        "settings corrected that act after a restart: " + changed->names);
        return;
    }
    if (demand(*port_, port_->execute(AtCommand("+CMEE=2")),
               "Unable to set 'report mobile termination' (+CMEE)")) {
        machine_.change(S::INITIALIZED, "module identified");
    }
}

bool ModuleSetup::wants_restart(const PersistentSettings::Change& change)
{
    const auto cause = change.carries_data_path ? Cause::DATA_PATH_CHANGED : Cause::SETTINGS_CHANGED;
    if (escalation_.strike(cause) == Verdict::RESET) {
        if (escalation_.exhausted(cause)) {
            LOG.warning("The module does not keep its settings (", change.names,
                        "); without them no data path");
        }
        return true;
    }
    LOG.warning("The module does not keep its settings (", change.names, "), going on with what it has");
    return false;
}

bool ModuleSetup::identify()
{
    auto& module = data_.module;
    module.model.clear();
    for (int tries = 0; tries < MODEL_TRIES && module.model.empty(); ++tries) {
        const auto answer = port_->execute(AtCommand("+GMM"));
        if (!demand(*port_, answer, "Unable to retrieve the Model Identifier (+GMM)")) {
            return false;
        }
        module.model = module_identity::text_of(answer.unwrap(), "+GMM");
    }
    variant_ = module.model.find("TOBY") != std::string::npos ? toby_ : sara_;
    sim_.variant(variant_);
    module_identity::ask(*port_, module);
    LOG.notice("Module: '", module.manu, "' '", module.model, "' IMEI '", module.imei, "'");
    return true;
}

Result ModuleSetup::configure()
{
    ModemVariant::Commands reports{AtCommand("+CREG=2"), AtCommand("+CGREG=2")}; // with location
    const auto& family_reports = variant_->urc_cmds();
    reports.insert(reports.end(), family_reports.begin(), family_reports.end());
    for (const char* command : {"+CGEREP=2,1", "+UREG=1", "+CMER=1,0,0,2,1", "+UCIND=2374"}) {
        reports.emplace_back(command);
    }
    auto result = run_sequence(*port_, reports);
    if (result.is_ok()) {
        machine_.change(S::WAITING_FOR_SIM, "reports switched on");
    }
    return result;
}
