#include "modem/modem_settings.hpp"

#include "at/at_text.hpp"

#include <ecu/kova/logging.hpp>

#include <charconv>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

namespace settings {

std::optional<std::uint32_t> leading_unsigned(const std::string& text)
{
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

std::optional<std::int32_t> leading_signed(const std::string& text)
{
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

std::uint32_t read_unsigned(const ecu::kova::config::Configuration& configuration, const std::string& key,
                            std::uint32_t fallback, std::uint32_t minimum)
{
    const auto value = leading_unsigned(configuration.get(key));
    if (!value || *value < minimum) {
        LOG.notice("Unable to parse '", key, "' from config assume default: ", fallback);
        return fallback;
    }
    LOG.info("Use ", key, ": ", *value);
    return *value;
}

std::string safe_argument(const std::string& text, const std::string& source)
{
    if (!at::breaks_at_argument(text)) {
        return text;
    }
    LOG.error("'", source, "' holds a control character or a double quote and is ignored");
    return {};
}

} // namespace settings

ModemLimits ModemLimits::read(const ecu::kova::config::Configuration& configuration)
{
    constexpr std::uint32_t ANY = 0;
    constexpr std::uint32_t POSITIVE = 1; // a 0 would act on every pass
    const ModemLimits defaults;
    const auto number = [&configuration](const char* key, std::uint32_t fallback, std::uint32_t minimum) {
        return settings::read_unsigned(configuration, key, fallback, minimum);
    };
    ModemLimits limits;
    limits.max_modem_reset = number("max_modem_reset", defaults.max_modem_reset, ANY);
    limits.nw_search_reattach_timer =
        number("nw_search_reattach_timer", defaults.nw_search_reattach_timer, POSITIVE);
    limits.nw_search_modem_reset_timer =
        number("nw_search_modem_reset_timer", defaults.nw_search_modem_reset_timer, POSITIVE);
    limits.max_sim_errors = number("max_sim_errors", defaults.max_sim_errors, POSITIVE);
    limits.max_modem_resets_before_dtc =
        number("max_modem_resets_before_dtc", defaults.max_modem_resets_before_dtc, POSITIVE);
    limits.modem_restart_timeout = number("modem_restart_timeout", defaults.modem_restart_timeout, ANY);
    if (limits.modem_restart_timeout == 0) {
        LOG.notice("modem_restart_timeout is 0: the module is not reset for want of a backend connection");
    }
    return limits;
}
