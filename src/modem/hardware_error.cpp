#include "modem/hardware_error.hpp"

#include "bus/publish.hpp"

#include <ecu/kova/logging.hpp>

#include <utility>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr const char* TOPIC = "rt/system/status_modem_module_error";

} // namespace

bool HardwareError::report(const std::string& cause)
{
    if (!machine_.may_go_to(ModemState::DTC_HW_ERROR)) {
        return false;
    }
    if (!utils::publish_rt_data_raw(bus_, TOPIC, {0x01})) {
        if (!std::exchange(vain_, true)) {
            LOG.error("Unable to publish on ", TOPIC, " with data 01");
            LOG.notice("The hardware error is reported as soon as the bus takes it");
        }
        return false;
    }
    vain_ = false;
    machine_.change(ModemState::DTC_HW_ERROR, cause);
    LOG.notice("DTC ", TOPIC, " SENT");
    return true;
}

void HardwareError::retry()
{
    if (owed_ && machine_.may_go_to(ModemState::DTC_HW_ERROR)) {
        owe(cause_);
    }
}
