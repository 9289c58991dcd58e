#include "doctor/checks.hpp"
#include "modem/modem_limits.hpp"

#include <array>

namespace celldctl {

namespace {

using ecu::kova::config::Configuration;

/// A limit that acts on what is no fault yet when it is set below `enough`.
struct Early {
    std::uint32_t ModemLimits::*limit;
    std::uint32_t enough;
    const char* what;
};
constexpr std::array EARLY{
    Early{&ModemLimits::max_modem_reset, 3, "a module that does not start at the first try ends the daemon"},
    Early{&ModemLimits::nw_search_reattach_timer, 60,
          "the search starts anew before a module has looked through its bands"},
    Early{&ModemLimits::nw_search_modem_reset_timer, 300,
          "a unit in a tunnel or garage has its module reset again and again"},
    Early{&ModemLimits::max_sim_errors, 2, "one SIM that is slow to answer resets the module"},
    Early{&ModemLimits::max_modem_resets_before_dtc, 2,
          "one reset that did not help is reported as a hardware error"},
    Early{&ModemLimits::modem_restart_timeout, 5,
          "a backend that is down for a moment resets the module of every unit"},
};

const char* key_of(std::uint32_t ModemLimits::*limit)
{
    for (const auto& known : limit_keys()) {
        if (known.limit == limit) {
            return known.key;
        }
    }
    return "";
}

std::string default_of(std::uint32_t ModemLimits::*limit)
{
    return std::to_string(ModemLimits().*limit);
}

/// "12abc" counts as 12: nobody means that.
bool is_whole(const std::string& text)
{
    return text.find_first_not_of("0123456789", text.front() == '-' ? 1 : 0) == std::string::npos;
}

void check_number(const LimitKey& limit, const std::string& text, Findings& findings)
{
    const auto value = settings::leading_unsigned(text);
    if (!value || *value < limit.least) {
        findings.warning(std::string(limit.key) + " = '" + text + "' " +
                             (value ? "would act on every pass" : "is no number up to 4294967295") +
                             "; the default counts",
                         "write a number; the default is " + default_of(limit.limit));
    } else if (!is_whole(text)) {
        findings.warning(std::string(limit.key) + " = '" + text + "' counts as " + std::to_string(*value),
                         "write the number alone");
    }
}

void check_numbers(const Configuration& configuration, Findings& findings)
{
    for (const auto& limit : limit_keys()) {
        if (configuration.is_set(limit.key)) {
            check_number(limit, configuration.get(limit.key) + "", findings);
        }
    }
}

void check_antenna(const Configuration& configuration, Findings& findings)
{
    struct Range {
        const char* key;
        std::int32_t least;
        std::int32_t most;
    };
    constexpr std::array RANGES{Range{AntennaHandler::CONFIG_THREAD_FREQ_KEY, 1, 3600},
                                Range{AntennaHandler::CONFIG_RSSI_THRH_KEY, 0, 31},
                                Range{AntennaHandler::CONFIG_FORCE_CHECK_KEY, 1, 1000}};
    for (const auto& [key, least, most] : RANGES) {
        const auto value = settings::leading_signed(configuration.get(key));
        if (configuration.is_set(key) && (!value || *value < least || *value > most)) {
            findings.warning(std::string(key) + " = '" + configuration.get(key) + "' is no number from " +
                                 std::to_string(least) + " to " + std::to_string(most),
                             "mend it; without a usable one all three antenna keys have their defaults");
        }
    }
}

void check_order(const ModemLimits& limits, Findings& findings)
{
    if (limits.nw_search_modem_reset_timer <= limits.nw_search_reattach_timer) {
        findings.warning(
            "nw_search_modem_reset_timer is not above nw_search_reattach_timer: the module is reset "
            "before the search was started anew once",
            "the defaults are " + default_of(&ModemLimits::nw_search_modem_reset_timer) + " and " +
                default_of(&ModemLimits::nw_search_reattach_timer));
    }
    if (limits.max_modem_resets_before_dtc >= limits.max_modem_reset) {
        findings.warning(
            "max_modem_resets_before_dtc is not below max_modem_reset: the daemon ends before it "
            "reports a hardware error",
            "the defaults are " + default_of(&ModemLimits::max_modem_resets_before_dtc) + " and " +
                default_of(&ModemLimits::max_modem_reset));
    }
}

} // namespace

void check_limits(const Configuration& configuration, Findings& findings)
{
    const auto before = findings.all().size();
    check_numbers(configuration, findings);
    check_antenna(configuration, findings);
    const auto limits = ModemLimits::read(configuration);
    for (const auto& [limit, enough, what] : EARLY) {
        const bool is_never = limit == &ModemLimits::modem_restart_timeout && limits.*limit == 0;
        if (is_never) {
            findings.warning("modem_restart_timeout is 0: a module that has lost the backend is never reset",
                             "leave it out: the default is " + default_of(limit) + " minutes");
        } else if (limits.*limit < enough) {
            findings.warning(std::string(key_of(limit)) + " = " + std::to_string(limits.*limit) +
                                 " acts too early: " + what,
                             "the default is " + default_of(limit));
        }
    }
    check_order(limits, findings);
    if (findings.all().size() == before) {
        findings.ok("the limits are numbers, and none acts too early");
    }
}

} // namespace celldctl
