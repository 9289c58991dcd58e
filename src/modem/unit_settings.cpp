#include "modem/unit_settings.hpp"

#include "at/at_text.hpp"
#include "modem/unit_words.hpp"
#include "utils/words.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto PROPERTY_TIMEOUT = 5'000ms; // a board that does not say has what the configuration says
constexpr auto FITTING_TIMEOUT = 60'000ms;

/// The system parameters that stand in for an empty access text.
struct AccessParameters {
    std::uint32_t apn;
    std::uint32_t user;
    std::uint32_t password;
};
constexpr AccessParameters INTERNAL_ACCESS{8231, 8232, 8233};
constexpr AccessParameters EXTERNAL_ACCESS{41074, 41075, 41076};

// Impedance bounds of the antennas.
constexpr std::uint32_t MAIN_ANTENNA_MIN = 41024;
constexpr std::uint32_t MAIN_ANTENNA_MAX = 41025;
constexpr std::uint32_t DIVERSITY_ANTENNA_MIN = 41026;
constexpr std::uint32_t DIVERSITY_ANTENNA_MAX = 41027;

/// The text, or an empty one with an ERROR that names `source` when it could break out of an AT command's
/// argument.
std::string safe_argument(const std::string& text, const std::string& source)
{
    if (!at::breaks_at_argument(text)) {
        return text;
    }
    LOG.error("'", source, "' holds a control character or a double quote and is ignored");
    return {};
}

defs::SimState sim_state(const ecu::kova::config::Configuration& configuration, const std::string& key)
{
    const std::string value = configuration.get(key);
    const auto state = defs::from_str(value, defs::SimState::AUTO);
    if (!state) {
        LOG.notice("Unable to parse ", value,
                   " to valid state assuming: ", defs::to_str(defs::SimState::AUTO));
        return defs::SimState::AUTO;
    }
    LOG.info("SimState for '", key, "': ", defs::to_str(*state));
    return *state;
}

/// What the configuration says of the SIM whose keys begin with `prefix`.
SimConfiguration configured_sim(const ecu::kova::config::Configuration& configuration,
                                const std::string& prefix)
{
    const auto text = [&](const char* name) {
        return safe_argument(configuration.get(prefix + name), prefix + name);
    };
    SimConfiguration sim;
    sim.apn = text("apn");
    sim.user = text("user");
    sim.password = text("password");
    sim.pin = text("pin");
    sim.state = sim_state(configuration, prefix + "state");
    return sim;
}

void keep_one_sim_usable(UnitSettings& unit)
{
    if (unit.internal_sim.state == defs::SimState::DISABLE &&
        unit.external_sim.state == defs::SimState::DISABLE) {
        LOG.warning(
            "Internal and External SIM have been disabled by configuration, fallback to Internal enable!");
        unit.internal_sim.state = defs::SimState::ENABLE;
    }
}

void fill_from_parameters(const UnitSources& sources, const AccessParameters& ids, SimConfiguration& sim)
{
    const auto fill = [&sources](std::string& text, std::uint32_t id) {
        const auto entry = text.empty() ? sources.parameter(id) : std::nullopt;
        if (entry && (entry->has_text() || entry->has_number())) {
            text = safe_argument(entry->has_text() ? entry->text() : std::to_string(entry->number()),
                                 "system parameter " + std::to_string(id));
        }
    };
    fill(sim.apn, ids.apn);
    fill(sim.user, ids.user);
    fill(sim.password, ids.password);
}

void apply_variant_property(const UnitSources& sources, const char* name, defs::SimState& state)
{
    const std::string answer = sources.variable(name, PROPERTY_TIMEOUT);
    if (answer.empty()) {
        LOG.info("Hardware variant property ", name, " ignored!");
        return;
    }
    LOG.info("Hardware variant property query: '", name, "' returned '", answer, "'");
    utils::warn_of_unknown(LOG, "ECU variable " + std::string(name), answer, unit_variable_values(name));
    state = answer == "false" ? defs::SimState::DISABLE : defs::SimState::ENABLE;
}

void read_sims(const UnitSources& sources, UnitSettings& unit)
{
    unit.internal_sim = configured_sim(sources.configuration, "sim.internal.");
    unit.external_sim = configured_sim(sources.configuration, "sim.external.");
    keep_one_sim_usable(unit);
}

void read_access_parameters(const UnitSources& sources, UnitSettings& unit)
{
    fill_from_parameters(sources, INTERNAL_ACCESS, unit.internal_sim);
    fill_from_parameters(sources, EXTERNAL_ACCESS, unit.external_sim);
    // Secrets: at DEBUG only.
    const auto tell = [](const char* which, const SimConfiguration& sim) {
        LOG.debug("Use ", which, ".APN: '", sim.apn, "' ", which, ".user: '", sim.user, "' ", which,
                  ".password: '", sim.password, "'");
    };
    tell("int", unit.internal_sim);
    tell("ext", unit.external_sim);
}

void read_variant(const UnitSources& sources, UnitSettings& unit)
{
    LOG.notice("Retrieve hardware variant...");
    unit.hardware_variant = sources.variable("hwvariant", std::nullopt);
    LOG.notice("hardware variant: ", unit.hardware_variant);
    unit.sim_lock_active_high = unit.hardware_variant.find("QBX3_1") != std::string::npos;

    LOG.info("Retrieve hardware has sim (int, ext)...");
    apply_variant_property(sources, "hasintsim", unit.internal_sim.state);
    apply_variant_property(sources, "hasextsim", unit.external_sim.state);
    keep_one_sim_usable(unit); // a board that denies both would wait for a card for ever
    LOG.notice("Internal SIM state: ", defs::to_str(unit.internal_sim.state));
    LOG.notice("External SIM state: ", defs::to_str(unit.external_sim.state));
}

void read_presence(const UnitSources& sources, UnitSettings& unit)
{
    if (unit.heeds_off_parameter()) {
        unit.off_by_parameter = orders_off(sources.parameter(MODEM_ON_OFF));
    }
    const std::string type = sources.variable("modemtype", std::nullopt);
    utils::warn_of_unknown(LOG, "ECU variable modemtype", type, unit_variable_values("modemtype"));
    unit.modem_fitted = type != "NONE";
}

AntennaHandler::Settings read_antenna(const ecu::kova::config::Configuration& configuration)
{
    const auto number = [&](const char* key) { return settings::leading_signed(configuration.get(key)); };
    const auto threshold = number(AntennaHandler::CONFIG_RSSI_THRH_KEY);
    const auto frequency = number(AntennaHandler::CONFIG_THREAD_FREQ_KEY);
    const auto interval = number(AntennaHandler::CONFIG_FORCE_CHECK_KEY);
    // A period or interval below 1 would measure without end.
    if (!threshold || !frequency || !interval || *frequency < 1 || *interval < 1) {
        LOG.notice(
            "Unable to parse antenna.force_check_interval or antenna.rssi_threshold or antenna.frequency to "
            "number, use default values");
        return {};
    }
    return {*threshold, *frequency, *interval};
}

bool read_diversity_antenna(const UnitSources& sources)
{
    const std::string fitting = sources.variable("divantenna", FITTING_TIMEOUT);
    if (fitting.empty()) {
        LOG.error("Failed to get mandatory ECU variable 'divantenna' from ECU, assume single antenna!");
    } else {
        LOG.notice("has diversity antenna: ", fitting);
        utils::warn_of_unknown(LOG, "ECU variable divantenna", fitting, unit_variable_values("divantenna"));
    }
    return fitting == "INTERNAL_R08" || fitting == "EXTERNAL_R07" || fitting == "INTERNAL_R07";
}

AntennaLimits read_antenna_limits(const UnitSources& sources)
{
    LOG.info("Retrieve has antenna configuration...");
    const auto bound = [&sources](std::uint32_t id) -> std::optional<std::int64_t> {
        const auto entry = sources.parameter(id);
        return entry && entry->has_number() ? std::optional<std::int64_t>(entry->number()) : std::nullopt;
    };
    const AntennaBounds main{bound(MAIN_ANTENNA_MIN), bound(MAIN_ANTENNA_MAX)};
    const AntennaBounds diversity{bound(DIVERSITY_ANTENNA_MIN), bound(DIVERSITY_ANTENNA_MAX)};
    const auto limits = antenna_limits(main, diversity, read_diversity_antenna(sources));
    if (!limits) {
        LOG.warning("The antenna's impedance bounds (system parameters ", MAIN_ANTENNA_MIN, " to ",
                    DIVERSITY_ANTENNA_MAX,
                    ") are absent or make no range; only an impedance of 0 is reported");
    }
    return limits.value_or(AntennaLimits{});
}

} // namespace

bool orders_off(const UnitSources::Parameter& modem_on_off)
{
    return !modem_on_off || !modem_on_off->has_number() || modem_on_off->number() == 0;
}

UnitSettings read_unit_settings(const UnitSources& sources)
{
    UnitSettings unit;
    read_sims(sources, unit);
    unit.router_mode = sources.configuration.get("routermode") != "false";
    unit.limits = ModemLimits::read(sources.configuration);
    read_access_parameters(sources, unit);
    read_variant(sources, unit);
    unit.board_ready = sources.board_ready();
    if (!unit.board_ready) {
        return unit;
    }
    read_presence(sources, unit);
    unit.antenna = read_antenna(sources.configuration);
    unit.antenna_limits = read_antenna_limits(sources);
    LOG.notice("Antenna diagnostics (impedance): max: ", unit.antenna_limits.max,
               " min: ", unit.antenna_limits.min);
    return unit;
}
