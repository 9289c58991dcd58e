#include "at/fields.hpp"
#include "status/network_time.hpp"
#include "status/status_handler.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/date_time.hpp>
#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.status.query");

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
    const std::string line = answer.unwrap().payload("+UDOPN");
    const std::size_t comma = line.find(',');
    if (comma == std::string::npos) {
        return std::nullopt;
    }
    std::string text = line.substr(comma + 1, MAX_OPERATOR_NAME);
    const std::size_t open = text.find('"');
    if (open != std::string::npos) {
        text.erase(0, open + 1);
        text.erase(std::min(text.find('"'), text.size()));
    }
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

void StatusHandler::query_operator(AtTtyPort& port)
{
    constexpr int LONG_NETWORK_NAME = 2;
    constexpr int SIM_NAME = 7;
    constexpr int NUMERIC = 0;
    if (const auto name = query_operator_text(port, LONG_NETWORK_NAME)) {
        data_->operator_data.name = *name;
    }
    if (const auto name = query_operator_text(port, SIM_NAME)) {
        data_->operator_data.sim_n = *name;
    }
    const auto plmn = query_operator_text(port, NUMERIC);
    if (plmn && is_plmn(*plmn)) {
        data_->location.mcc = number(plmn->substr(0, MCC_LENGTH));
        data_->location.mnc = number(plmn->substr(MCC_LENGTH));
        data_->operator_data.id = std::to_string(number(*plmn));
    }
}

void StatusHandler::query_time(AtTtyPort& port)
{
    const auto answer = port.execute(AtCommand("+CCLK?"));
    if (!answer.is_ok()) {
        LOG.debug("Unable to query the network time (+CCLK?): ", to_log_text(answer.unwrapErr()));
        return;
    }
    if (const auto time = parse_network_time_us(answer.unwrap().payload("+CCLK"))) {
        data_->time.nw_utc = *time;
        data_->time.ts_ns = ecu::kova::DateTime::time_since_boot_ns();
    }
}
