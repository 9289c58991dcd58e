#include "modem/modem_limits.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <charconv>

namespace {

using ecu::kova::logging::Level;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr std::uint32_t ANY = 0;
constexpr std::uint32_t POSITIVE = 1; // a 0 would act on every pass

constexpr std::array LIMIT_KEYS{
    LimitKey{"max_modem_reset", &ModemLimits::max_modem_reset, ANY},
    LimitKey{"nw_search_reattach_timer", &ModemLimits::nw_search_reattach_timer, POSITIVE},
    LimitKey{"nw_search_modem_reset_timer", &ModemLimits::nw_search_modem_reset_timer, POSITIVE},
    LimitKey{"max_sim_errors", &ModemLimits::max_sim_errors, POSITIVE},
    LimitKey{"max_modem_resets_before_dtc", &ModemLimits::max_modem_resets_before_dtc, POSITIVE},
    LimitKey{"modem_restart_timeout", &ModemLimits::modem_restart_timeout, ANY},
};

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

std::span<const LimitKey> limit_keys()
{
    return LIMIT_KEYS;
}

ModemLimits ModemLimits::read(const ecu::kova::config::Configuration& configuration)
{
    ModemLimits limits;
    for (const auto& [key, limit, least] : LIMIT_KEYS) {
        const auto text = configuration.get(key);
        const auto value = settings::leading_unsigned(text);
        if (!value || *value < least) {
            // A key that nobody has set is nothing to be told of.
            LOG.write(text.empty() ? Level::INFO : Level::WARNING, "Unable to parse '", key,
                      "' from config assume default: ", limits.*limit);
            continue;
        }
        limits.*limit = *value;
        LOG.info("Use ", key, ": ", limits.*limit);
    }
    if (limits.modem_restart_timeout == 0) {
        LOG.notice("modem_restart_timeout is 0: the module is not reset for want of a backend connection");
    }
    return limits;
}
