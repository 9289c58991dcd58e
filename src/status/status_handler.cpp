#include "status/status_handler.hpp"

#include "bus/publish.hpp"
#include "status/status_messages.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.status");
const ecu::kova::logging::Module& LOG_MSG = ecu::kova::logging::module("celld.status.msg");
const ecu::kova::logging::Module& LOG_QUERY = ecu::kova::logging::module("celld.status.query");

constexpr auto STATUS_PERIOD = 10s;
constexpr auto OPERATOR_PERIOD = 20s;
constexpr auto TIME_PERIOD = 10s;
constexpr const char* OPERATOR_QUERY = "OperatorData";
constexpr const char* STATUS_TOPIC = "system/modem/status";
constexpr bool RETAINED = true; // who joins late finds the present state

} // namespace

StatusHandler::Query::Query(std::string&& name, std::chrono::seconds period, Callback callback, Clock& clock)
    : name_(std::move(name)), period_(period), callback_(std::move(callback)), clock_(clock)
{
}

void StatusHandler::Query::exec(AtTtyPort& port, bool force)
{
    const auto now = clock_.now();
    const auto diff = now - last_run_.value_or(Clock::time_point{});
    const bool execute = !last_run_ || diff > period_ || force;
    LOG_QUERY.debug("Query: ", name_,
                    " (diff: ", std::chrono::duration_cast<std::chrono::seconds>(diff).count(),
                    ") will execute: ", execute ? 1 : 0, " force: ", force ? "true" : "false");
    if (execute) {
        callback_(port);
        last_run_ = now;
    }
}

StatusHandler::StatusHandler(std::shared_ptr<AtTtyPort> port, ModemData* data, Clock& clock)
    : StatusHandler(std::move(port), data, nullptr, clock)
{
}

StatusHandler::StatusHandler(std::shared_ptr<AtTtyPort> port, ModemData* data,
                             std::shared_ptr<ecu::kova::com::ITransportClient> client, Clock& clock)
    : port_(std::move(port)), data_(data), client_(std::move(client)), clock_(clock),
      status_period_(STATUS_PERIOD)
{
    init();
}

void StatusHandler::init()
{
    queries_.emplace_back(
        OPERATOR_QUERY, OPERATOR_PERIOD, [this](AtTtyPort& port) { query_operator(port); }, clock_);
    queries_.emplace_back(
        "TimeData", TIME_PERIOD, [this](AtTtyPort& port) { query_time(port); }, clock_);
}

void StatusHandler::update(bool force, bool publish_now)
{
    publish_hardware_on_change();
    publish_sim_on_change();
    registration_told_ = false;
    const bool network_changed = take_network_change();
    publish_registration_on_change();
    // A module that answers nothing any more is about to be reset: its queries would only time out one by
    // one.
    if (port_->is_available() && port_->is_running() && !port_->is_timeout() && !port_->is_write_error()) {
        for (auto& query : queries_) {
            query.exec(*port_, force || (network_changed && query.name() == OPERATOR_QUERY));
        }
    } else if (network_changed) {
        network_ = {}; // not asked yet
    }
    if (status_due(publish_now)) {
        if (!registration_told_) {
            publish_registration();
        }
        publish();
        last_status_ = clock_.now();
    }
}

bool StatusHandler::status_due(bool publish_now) const
{
    return publish_now || !last_status_ || clock_.now() - *last_status_ > status_period_ ||
           published_state_ != data_->pb_state() || published_reason_ != data_->pb_reset_reason();
}

/// What was known of a network belongs to it. True when the module is on another one, or on one again.
bool StatusHandler::take_network_change()
{
    const int status = data_->nw_reg.deciding_status();
    const NetworkCopy now{registration::is_registered(status), status, data_->location.area_c};
    if (now == network_) {
        return false;
    }
    if (!now.on_a_network) {
        data_->operator_data = {};
        data_->location.mcc = 0;
        data_->location.mnc = 0;
    }
    network_ = now;
    return now.on_a_network;
}

/// Again when a later set-up has read more of it.
void StatusHandler::publish_hardware_on_change()
{
    const auto& module = data_->module;
    if (module.imei.empty()) {
        return;
    }
    if (module != published_module_) {
        imei_published_ = imei_published_ && module.imei == published_module_.imei;
        utils::publish_protobuf(client_, status_messages::hardware(*data_), "system/modem/hardware",
                                RETAINED);
        published_module_ = module;
    }
    // A signal is not kept by the bus: one that it did not take is published again.
    if (!imei_published_) {
        imei_published_ = utils::publish_rt_data_string(client_, "rt/system/modem_imei", "imei", module.imei);
    }
}

void StatusHandler::publish_sim_on_change()
{
    const auto& sim = data_->sim;
    if (sim.internal != published_sim_.internal || sim.external != published_sim_.external ||
        sim.active != published_sim_.active) {
        utils::publish_protobuf(client_, status_messages::sim_information(*data_), "system/modem/sim",
                                RETAINED);
        published_sim_ = {sim.internal, sim.external, sim.active};
        iccid_published_ = false;
    }
    if (!iccid_published_) {
        const bool external = sim.active == defs::SimType::EXTERNAL;
        iccid_published_ = utils::publish_rt_data_string(
            client_, external ? "rt/system/ext_sim_iccid" : "rt/system/sim_iccid", "iccid",
            sim.of(sim.active).iccid);
    }
}

StatusHandler::RegistrationCopy StatusHandler::registration_now() const
{
    return {data_->nw_reg.deciding_status(), data_->nw_reg.ureg, data_->nw_reg.rat};
}

void StatusHandler::publish_registration_on_change()
{
    if (!published_registration_ || *published_registration_ != registration_now()) {
        publish_registration();
    }
}

void StatusHandler::publish_registration()
{
    utils::publish_protobuf(client_, status_messages::registration(*data_), "system/modem/registration",
                            RETAINED);
    utils::publish_rt_data_raw(client_, "rt/system/modem_creg",
                               {static_cast<unsigned char>(status_messages::registration_status(*data_))});
    published_registration_ = registration_now();
    registration_told_ = true;
}

void StatusHandler::leave_last_will()
{
    ecu::kova::pb::ModemStatus gone;
    gone.set_state(ecu::kova::pb::ModemStatus_ModemState_UNKNOWN);
    if (client_ == nullptr || !utils::leave_last_will(*client_, gone, STATUS_TOPIC)) {
        LOG.info("No last will is left with the bus");
    }
}

void StatusHandler::publish()
{
    LOG.debug("Publish status");
    publish_registration_on_change();
    utils::publish_protobuf(client_, status_messages::status(*data_), STATUS_TOPIC, RETAINED);
    published_state_ = data_->pb_state();
    published_reason_ = data_->pb_reset_reason();
    if (LOG_MSG.wants(ecu::kova::logging::Level::INFO)) {
        LOG_MSG.info(status_messages::dump(*data_));
    }
}
