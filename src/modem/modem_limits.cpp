#include "modem/modem_limits.hpp"

#include <ecu/kova/logging.hpp>

#include <charconv>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr std::uint32_t ANY = 0;
constexpr std::uint32_t POSITIVE = 1; // a 0 would act on every pass

template <class Number>
std::optional<Number> leading_number(const std::string& text)
{
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

} // namespace

namespace settings {

std::optional<std::uint32_t> leading_unsigned(const std::string& text)
{
    return leading_number<std::uint32_t>(text);
}

std::optional<std::int32_t> leading_signed(const std::string& text)
{
    return leading_number<std::int32_t>(text);
}

} // namespace settings

ModemLimits ModemLimits::read(const ecu::kova::config::Configuration& configuration)
{
    const auto read = [&configuration](const char* key, std::uint32_t& limit, std::uint32_t minimum) {
        const auto value = settings::leading_unsigned(configuration.get(key));
        if (!value || *value < minimum) {
            LOG.notice("Unable to parse '", key, "' from config assume default: ", limit);
            return;
        }
        limit = *value;
        LOG.info("Use ", key, ": ", limit);
    };
    ModemLimits limits;
    read("max_modem_reset", limits.max_modem_reset, ANY);
    read("nw_search_reattach_timer", limits.nw_search_reattach_timer, POSITIVE);
    read("nw_search_modem_reset_timer", limits.nw_search_modem_reset_timer, POSITIVE);
    read("max_sim_errors", limits.max_sim_errors, POSITIVE);
    read("max_modem_resets_before_dtc", limits.max_modem_resets_before_dtc, POSITIVE);
    read("modem_restart_timeout", limits.modem_restart_timeout, ANY);
    if (limits.modem_restart_timeout == 0) {
        LOG.notice("modem_restart_timeout is 0: the module is not reset for want of a backend connection");
    }
    return limits;
}
