#include "modem/data_context.hpp"

#include "modem/command_sequence.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

DataContext::DataContext(const std::shared_ptr<AtTtyPort>& port, const std::shared_ptr<ModemVariant>& variant,
                         const ModemData& data, NetworkSearch& search)
    : port_(port), variant_(variant), data_(data), search_(search)
{
}

Result DataContext::set_up()
{
    static_cast<void>(search_.stop()); // a module that is not searching may refuse
    const bool external = data_.sim.active == defs::SimType::EXTERNAL;
    const auto& access = (external ? data_.external_sim : data_.internal_sim).held_;
    return run_sequence(*port_, variant_->context_setup_sequence(access.apn, access.user, access.password));
}

ActivationCode DataContext::activate()
{
    LOG.debug("Activating context...");
    if (query() == ContextState::ACTIVE) {
        LOG.info("Context already active.");
        return ActivationCode::ACTIVATED;
    }
    return variant_->activate_pdp_context(port_);
}

ContextState DataContext::query()
{
    return variant_->is_pdp_context_active(port_);
}

void DataContext::deactivate()
{
    if (query() == ContextState::ACTIVE) {
        variant_->deactivate_pdp_context(port_);
    }
}
