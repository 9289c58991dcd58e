#include "status/antenna_handler.hpp"

#include "at/at_text.hpp"
#include "at/fields.hpp"
#include "bus/publish.hpp"

#include <ecu/kova/logging.hpp>

#include <system_error>
#include <utility>

namespace {

using ecu::kova::logging::Level;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.antenna");

// <rssi> of +CSQ (3GPP TS 27.007, 8.5)
constexpr int MAX_RSSI = 31;
constexpr int RSSI_NOT_KNOWN = 99;
constexpr int ANTENNA = 0; // the one that is measured

constexpr const char* RSSI_TOPIC = "rt/system/modem_rssi";
constexpr const char* OPEN_CIRCUIT_TOPIC = "rt/system/status_cellular_antenna_open_circuit";
constexpr const char* SHORT_TO_GROUND_TOPIC = "rt/system/status_cellular_antenna_short_to_ground";

const char* truth(bool value)
{
    return value ? "true" : "false";
}

/// +UANTR: <ant_id>,<impedance>, a line for each antenna of the module
std::optional<int> impedance_of(const std::string& message)
{
    for (const auto& line : at::pieces_of(message, "+UANTR")) {
        const at::Fields fields(line);
        if (fields[0].decimal() == ANTENNA) {
            return fields[1].decimal();
        }
    }
    return std::nullopt;
}

unsigned char byte_of(bool value)
{
    return value ? 1 : 0;
}

} // namespace

AntennaHandler::AntennaHandler(std::shared_ptr<AtTtyPort> port, ModemData* data,
                               std::shared_ptr<ecu::kova::com::ITransportClient> client,
                               const Settings& settings, const AntennaLimits& limits, Clock& clock)
    : port_(std::move(port)), data_(data), client_(std::move(client)), settings_(settings), limits_(limits),
      clock_(clock), rssi_unknown_(LOG, Level::ERROR, "the signal strength (+CSQ)", clock),
      impedance_unknown_(LOG, Level::ERROR, "the antenna's impedance (+UANTR=0)", clock)
{
}

AntennaHandler::~AntennaHandler()
{
    stop();
}

void AntennaHandler::start()
{
    {
        const threads::MutexLock lock(mutex_);
        if (running_) {
            LOG.info("AntennaHandler is already running.");
            return;
        }
        running_ = true;
        waiting_ = false;
    }
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error& error) {
        LOG.error("Unable to start the antenna thread: ", error.what()); // tried again with the next start
        const threads::MutexLock lock(mutex_);
        running_ = false;
        return;
    }
    threads::MutexLock lock(mutex_);
    while (!waiting_) {
        waits_.wait(lock.standard());
    }
    LOG.info("AntennaHandler has been started.");
}

void AntennaHandler::stop()
{
    {
        const threads::MutexLock lock(mutex_);
        if (!running_ && !thread_.joinable()) {
            return;
        }
        running_ = false;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
    LOG.info("AntennaHandler has been stopped.");
}

void AntennaHandler::run()
{
    threads::MutexLock lock(mutex_);
    while (running_) {
        const auto deadline = clock_.now() + std::chrono::seconds(settings_.frequency_s);
        waiting_ = true;
        waits_.notify_all();
        while (running_ && clock_.wait_until(wake_, lock.standard(), deadline)) {
        }
        if (!running_) {
            return;
        }
        lock.unlock();
        count_period();
        round(true);
        lock.lock();
    }
}

void AntennaHandler::count_period()
{
    if (++periods_ >= settings_.force_check_interval) {
        periods_ = 0;
        check_requested_ = true;
    }
}

bool AntennaHandler::update_rssi()
{
    int rssi = 0;
    int error_rate = 0;
    const auto answer = port_->execute(AtCommand("+CSQ"), "%d,%d", &rssi, &error_rate);
    if (!answer.is_ok()) {
        rssi_unknown_.failed("Error occurred querying rssi (+CSQ): '", to_log_text(answer.unwrapErr()), "'");
        return false;
    }
    if (rssi < 0 || (rssi > MAX_RSSI && rssi != RSSI_NOT_KNOWN)) {
        rssi_unknown_.failed("Signal strength ", rssi, " (+CSQ) is none, the last one stays");
        return false;
    }
    rssi_unknown_.succeeded();
    data_->antenna.rssi(rssi);
    const auto quality = data_->antenna.signal_quality();
    LOG.info("updated rssi: ", rssi, " signal_quality: ", defs::to_str(quality), " (",
             static_cast<int>(quality), ")");
    return true;
}

void AntennaHandler::update()
{
    round(false);
}

void AntennaHandler::round(bool on_thread)
{
    if (on_thread && !port_->is_running()) {
        LOG.debug("The port is closed, nothing is asked");
        return;
    }
    LOG.debug("update...");
    update_rssi();
    publish_rssi_on_change();
    if (report_owed_) {
        send_diagnosis();
    }
    if (!check_due() || (on_thread && stopping())) {
        return;
    }
    if (const auto impedance = measure_impedance()) {
        diagnose(*impedance);
    }
}

/// Whether the thread that is at work has been asked to end.
bool AntennaHandler::stopping()
{
    const threads::MutexLock lock(mutex_);
    return !running_;
}

void AntennaHandler::publish_rssi_on_change()
{
    const int rssi = data_->antenna.rssi();
    if (rssi == last_rssi_ || rssi < 0) { // the latter: not measured yet
        return;
    }
    if (utils::publish_rt_data_raw(client_, RSSI_TOPIC, {static_cast<unsigned char>(rssi)})) {
        last_rssi_ = rssi;
    }
}

bool AntennaHandler::check_due() const
{
    const int rssi = data_->antenna.rssi();
    const bool weak = rssi <= settings_.rssi_threshold || rssi == RSSI_NOT_KNOWN;
    return weak || check_requested_ || first_report_;
}

std::optional<int> AntennaHandler::measure_impedance()
{
    const auto answer = port_->execute(AtCommand("+UANTR=0"));
    const auto impedance = answer.is_ok() ? impedance_of(answer.unwrap().complete_message()) : std::nullopt;
    if (!impedance) {
        impedance_unknown_.failed(
            "Unable to execute antenna dectection +UANTR=0, response: '",
            answer.is_ok() ? at::mask_secrets(answer.unwrap().value) : to_log_text(answer.unwrapErr()), "'");
        return std::nullopt;
    }
    impedance_unknown_.succeeded();
    LOG.debug("Impedance from celld: ", *impedance);
    return impedance;
}

void AntennaHandler::diagnose(int impedance)
{
    const bool short_to_ground = impedance == 0 || impedance < limits_.min;
    const bool open_circuit = !short_to_ground && impedance > limits_.max;
    LOG.info("Antenna open circuit: ", truth(open_circuit), " short to ground: ", truth(short_to_ground));
    check_requested_ = open_circuit || short_to_ground; // a fault is measured again until it clears
    if (open_circuit != open_circuit_ || short_to_ground != short_to_ground_ || first_report_) {
        LOG.notice("Send antenna status...");
        tell_diagnosis(impedance, short_to_ground, open_circuit);
        open_circuit_ = open_circuit;
        short_to_ground_ = short_to_ground;
        first_report_ = false;
        send_diagnosis();
    }
}

/// What "Send antenna status..." sends.
void AntennaHandler::tell_diagnosis(int impedance, bool short_to_ground, bool open_circuit) const
{
    if (!short_to_ground && !open_circuit) {
        LOG.notice("Antenna healthy: impedance ", impedance, ", of ", limits_.min, " to ", limits_.max);
        return;
    }
    LOG.warning("Antenna ", short_to_ground ? "shorted to ground" : "not connected (open circuit)",
                ": impedance ", impedance, ", healthy from ", limits_.min, " to ", limits_.max,
                "; measured again every ", settings_.frequency_s, " s until that is over");
}

/// What the bus does not take is offered again each period, without another measurement. That it does not is
/// said once, and so is that it does again.
void AntennaHandler::send_diagnosis()
{
    const bool open_told = utils::publish_rt_data_raw(client_, OPEN_CIRCUIT_TOPIC, {byte_of(open_circuit_)});
    const bool short_told =
        utils::publish_rt_data_raw(client_, SHORT_TO_GROUND_TOPIC, {byte_of(short_to_ground_)});
    const bool was_owed = std::exchange(report_owed_, !open_told || !short_told);
    if (report_owed_ && !was_owed) {
        LOG.notice("The bus does not take the antenna status: it is sent as soon as it does");
    } else if (was_owed && !report_owed_) {
        LOG.notice("The bus has taken the antenna status");
    }
}
