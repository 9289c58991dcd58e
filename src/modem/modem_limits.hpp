#pragma once

#include <ecu/kova/config/configuration.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// The unsigned limits of the configuration, with their defaults.
struct ModemLimits {
    std::uint32_t max_modem_reset = 10;           ///< resets in a row before the daemon ends
    std::uint32_t nw_search_reattach_timer = 120; ///< passes (about seconds) before the search starts anew
    std::uint32_t nw_search_modem_reset_timer = 1800; ///< likewise before the module is reset
    std::uint32_t max_sim_errors = 5;                 ///< SIM errors before the module is reset
    std::uint32_t max_modem_resets_before_dtc = 5;    ///< vain resets before the hardware error is reported
    std::uint32_t modem_restart_timeout = 15;         ///< minutes without backend before a reset; 0: never

    /// A key that cannot be read, or that would act on every pass, has its default (logged on "celld.modem").
    static ModemLimits read(const ecu::kova::config::Configuration& configuration);
};

/// A limit as the configuration has it.
struct LimitKey {
    const char* key;
    std::uint32_t ModemLimits::*limit;
    std::uint32_t least; ///< a value below it counts as none
};
std::span<const LimitKey> limit_keys();

namespace settings {

/// The number that the leading digits form, what follows them ignored; nothing without digits or above 32
/// bits.
std::optional<std::uint32_t> leading_unsigned(const std::string& text);
/// The same with a sign, within a signed 32-bit number.
std::optional<std::int32_t> leading_signed(const std::string& text);

} // namespace settings
