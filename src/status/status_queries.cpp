#include "status/status_queries.hpp"

#include "at/fields.hpp"
#include "status/module_identity.hpp"
#include "status/network_time.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/date_time.hpp>
#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <utility>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.status.query");

constexpr auto OPERATOR_PERIOD = 20s;
constexpr auto TIME_PERIOD = 10s;
constexpr auto IDENTITY_PERIOD = 20s; // of what the set-up did not learn
constexpr const char* OPERATOR_QUERY = "OperatorData";

constexpr std::size_t MCC_LENGTH = 3; // ITU-T E.212
constexpr std::size_t PLMN_MAX_LENGTH = 6;
constexpr std::size_t MAX_OPERATOR_NAME = 256;

/// "+UDOPN: <type>,"<text>"": the text, whatever commas or odd bytes it holds; nothing when the module does
/// not say.
std::optional<std::string> query_operator_text(AtTtyPort& port, int type)
{
    const AtCommand command("+UDOPN=" + std::to_string(type));
    const auto answer = port.execute(command);
    if (!answer.is_ok()) {
        LOG.debug("Unable to query the operator ('", command.text_for_log(),
                  "'): ", to_log_text(answer.unwrapErr()));
        return std::nullopt;
    }
    const at::Fields fields(answer.unwrap(), "+UDOPN");
    if (fields.size() < 2) {
        return std::nullopt;
    }
    std::string text = fields[1].text.substr(0, MAX_OPERATOR_NAME);
    utils::trim(text);
    return utils::to_valid_utf8(text);
}

unsigned number(const std::string& digits)
{
    unsigned value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}

bool is_plmn(const std::string& text)
{
    return text.size() > MCC_LENGTH && text.size() <= PLMN_MAX_LENGTH &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

} // namespace

PeriodicQuery::PeriodicQuery(std::string&& name, std::chrono::seconds period, Callback callback, Clock& clock)
    : name_(std::move(name)), period_(period), callback_(std::move(callback)), clock_(clock)
{
}

void PeriodicQuery::exec(AtTtyPort& port, bool force)
{
    const auto now = clock_.now();
    const auto diff = now - last_run_.value_or(Clock::time_point{});
    const bool execute = !last_run_ || diff > period_ || force;
    LOG.debug("Query: ", name_, " (diff: ", std::chrono::duration_cast<std::chrono::seconds>(diff).count(),
              ") will execute: ", execute ? 1 : 0, " force: ", force ? "true" : "false");
    if (execute) {
        callback_(port);
        last_run_ = now;
    }
}

StatusQueries::StatusQueries(std::shared_ptr<AtTtyPort> port, ModemData& data, Clock& clock)
    : port_(std::move(port)), data_(data)
{
    queries_.emplace_back(
        OPERATOR_QUERY, OPERATOR_PERIOD, [this](AtTtyPort& at) { ask_operator(at); }, clock);
    queries_.emplace_back(
        "TimeData", TIME_PERIOD, [this](AtTtyPort& at) { ask_time(at); }, clock);
    queries_.emplace_back(
        "Identity", IDENTITY_PERIOD,
        [this](AtTtyPort& at) { module_identity::ask_missing(at, data_.module); }, clock);
}

void StatusQueries::take_network_change()
{
    const int status = data_.nw_reg.deciding_status();
    const Network now{registration::is_registered(status), status, data_.location.area_c};
    if (now == network_) {
        return;
    }
    network_ = now;
    operator_owed_ = now.registered;
    if (!now.registered) {
        data_.operator_data = {};
        data_.location.mcc = 0;
        data_.location.mnc = 0;
    }
}

/// One that answers nothing any more is about to be reset: its queries would only time out one by one.
bool StatusQueries::module_answers() const
{
    return port_->is_available() && port_->is_running() && !port_->is_timeout() && !port_->is_write_error();
}

void StatusQueries::run(bool force)
{
    if (!module_answers()) {
        return;
    }
    const bool ask_operator_anew = std::exchange(operator_owed_, false);
    for (auto& query : queries_) {
        query.exec(*port_, force || (ask_operator_anew && query.name() == OPERATOR_QUERY));
    }
}

void StatusQueries::ask_operator(AtTtyPort& port)
{
    constexpr int LONG_NETWORK_NAME = 2;
    constexpr int SIM_NAME = 7;
    constexpr int NUMERIC = 0;
    if (const auto name = query_operator_text(port, LONG_NETWORK_NAME)) {
        data_.operator_data.name = *name;
    }
    if (const auto name = query_operator_text(port, SIM_NAME)) {
        data_.operator_data.sim_n = *name;
    }
    const auto plmn = query_operator_text(port, NUMERIC);
    if (plmn && is_plmn(*plmn)) {
        data_.location.mcc = number(plmn->substr(0, MCC_LENGTH));
        data_.location.mnc = number(plmn->substr(MCC_LENGTH));
        data_.operator_data.id = std::to_string(number(*plmn));
    }
}

void StatusQueries::ask_time(AtTtyPort& port)
{
    const auto answer = port.execute(AtCommand("+CCLK?"));
    if (!answer.is_ok()) {
        LOG.debug("Unable to query the network time (+CCLK?): ", to_log_text(answer.unwrapErr()));
        return;
    }
    if (const auto time = parse_network_time_us(answer.unwrap().payload("+CCLK"))) {
        data_.time.nw_utc = *time;
        data_.time.ts_ns = ecu::kova::DateTime::time_since_boot_ns();
    }
}
