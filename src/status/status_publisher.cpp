#include "status/status_publisher.hpp"

#include "bus/publish.hpp"
#include "status/status_messages.hpp"

#include <ecu/kova/logging.hpp>

#include <utility>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.status");
const ecu::kova::logging::Module& LOG_MSG = ecu::kova::logging::module("celld.status.msg");

constexpr auto STATUS_PERIOD = 10s;
constexpr const char* STATUS_TOPIC = "system/modem/status";
constexpr bool RETAINED = true; // who joins late finds the present state

} // namespace

StatusPublisher::StatusPublisher(const ModemData& data,
                                 std::shared_ptr<ecu::kova::com::ITransportClient> client, Clock& clock)
    : data_(data), client_(std::move(client)), clock_(clock)
{
}

/// Again when a later set-up has read more of it.
void StatusPublisher::hardware_on_change()
{
    const auto& module = data_.module;
    if (module.imei.empty()) {
        return;
    }
    if (module != module_) {
        imei_owed_ = imei_owed_ || module.imei != module_.imei;
        utils::publish_protobuf(client_, status_messages::hardware(data_), "system/modem/hardware", RETAINED);
        module_ = module;
    }
    if (imei_owed_) {
        imei_owed_ = !utils::publish_rt_data_string(client_, "rt/system/modem_imei", "imei", module.imei);
    }
}

void StatusPublisher::sim_on_change()
{
    const auto& sim = data_.sim;
    if (const Sims now{sim.internal, sim.external, sim.active}; now != sims_) {
        utils::publish_protobuf(client_, status_messages::sim_information(data_), "system/modem/sim",
                                RETAINED);
        sims_ = now;
        iccid_owed_ = true;
    }
    if (iccid_owed_) {
        const bool external = sim.active == defs::SimType::EXTERNAL;
        iccid_owed_ = !utils::publish_rt_data_string(
            client_, external ? "rt/system/ext_sim_iccid" : "rt/system/sim_iccid", "iccid",
            sim.of(sim.active).iccid);
    }
}

StatusPublisher::Registration StatusPublisher::registration_now() const
{
    return {data_.nw_reg.deciding_status(), data_.nw_reg.ureg, data_.nw_reg.rat};
}

void StatusPublisher::registration_on_change()
{
    if (registration_ != registration_now()) {
        registration();
    }
}

void StatusPublisher::registration()
{
    utils::publish_protobuf(client_, status_messages::registration(data_), "system/modem/registration",
                            RETAINED);
    utils::publish_rt_data_raw(client_, "rt/system/modem_creg",
                               {static_cast<unsigned char>(status_messages::registration_status(data_))});
    registration_ = registration_now();
    registration_told_ = true;
}

void StatusPublisher::status_when_due(bool now)
{
    const bool periodic = !last_status_ || clock_.now() - *last_status_ > STATUS_PERIOD;
    if (periodic && !registration_told_) {
        registration();
    }
    if (now || periodic || state_ != state_now()) {
        status();
        last_status_ = clock_.now();
    }
    registration_told_ = false;
}

void StatusPublisher::status()
{
    LOG.debug("Publish status");
    registration_on_change();
    utils::publish_protobuf(client_, status_messages::status(data_), STATUS_TOPIC, RETAINED);
    state_ = state_now();
    registration_told_ = false;
    if (LOG_MSG.wants(ecu::kova::logging::Level::INFO)) {
        LOG_MSG.info(status_messages::dump(data_));
    }
}

void StatusPublisher::leave_last_will()
{
    ecu::kova::pb::ModemStatus gone;
    gone.set_state(ecu::kova::pb::ModemStatus_ModemState_UNKNOWN);
    if (client_ == nullptr || !utils::leave_last_will(*client_, gone, STATUS_TOPIC)) {
        LOG.info("No last will is left with the bus");
    }
}
