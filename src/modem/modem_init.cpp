#include "modem/modem.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto VARIABLE_TIMEOUT = 60'000ms;
constexpr auto PROPERTY_TIMEOUT = 5'000ms; // a board that does not say has what the configuration says
constexpr auto VARIABLE_PAUSE = 1s;

// System parameters of the unit.
constexpr std::uint32_t INTERNAL_APN = 8231;
constexpr std::uint32_t INTERNAL_USER = 8232;
constexpr std::uint32_t INTERNAL_PASSWORD = 8233;
constexpr std::uint32_t EXTERNAL_APN = 41074;
constexpr std::uint32_t EXTERNAL_USER = 41075;
constexpr std::uint32_t EXTERNAL_PASSWORD = 41076;
constexpr std::uint32_t MODEM_ON_OFF = 41060;
constexpr std::uint32_t MAIN_ANTENNA_MIN = 41024;
constexpr std::uint32_t MAIN_ANTENNA_MAX = 41025;
constexpr std::uint32_t DIVERSITY_ANTENNA_MIN = 41026;
constexpr std::uint32_t DIVERSITY_ANTENNA_MAX = 41027;

bool is_diversity_antenna(const std::string& fitting)
{
    return fitting == "INTERNAL_R08" || fitting == "EXTERNAL_R07" || fitting == "INTERNAL_R07";
}

} // namespace

void Modem::init()
{
    bus_ = ecu::kova::com::create_client(*configuration_, transport_);
    sim_.bus(bus_);
    status_ = std::make_unique<StatusHandler>(port_, &data_, bus_, clock_);
    // Before anything below can fail or wait: radio silence and the backend are heard in any case.
    subscription_ = std::make_shared<utils::SubscriptionWrapper>(this);
    for (const char* topic : {"rt/system/blackout_mode", "be/status"}) {
        if (!bus_->subscribe(topic, subscription_)) {
            LOG.error("Unable to subscribe to ", topic);
        }
    }

    read_sim_settings();
    LOG.info("Router mode: ", configuration_->get("routermode") != "false" ? "on" : "off");
    limits_ = ModemLimits::read(*configuration_);
    search_reattach_.limit(limits_.nw_search_reattach_timer);
    search_reset_.limit(limits_.nw_search_modem_reset_timer);
    read_system_parameters();
    read_hardware_variant();
    if (!init_gpio()) {
        return;
    }
    init_modem_presence();
    init_antenna();
    if (hardware_variant_.find("QBX3_1") != std::string::npos) {
        sim_.lock_active_on(SimHandler::ActiveValue::HIGH);
    }
}

void Modem::read_sim_settings()
{
    const auto text = [this](const std::string& key) {
        return settings::safe_argument(configuration_->get(key), key);
    };
    auto& internal = data_.internal_sim;
    internal.apn = text("sim.internal.apn");
    internal.user = text("sim.internal.user");
    internal.password = text("sim.internal.password");
    internal.state = sim_state_from("sim.internal.state");

    auto& external = data_.external_sim;
    external.apn = text("sim.external.apn");
    external.user = text("sim.external.user");
    external.password = text("sim.external.password");
    external.pin = text("sim.external.pin");
    external.state = sim_state_from("sim.external.state");

    keep_one_sim_usable();
}

void Modem::keep_one_sim_usable()
{
    if (sim_.is_disabled(defs::SimType::INTERNAL) && sim_.is_disabled(defs::SimType::EXTERNAL)) {
        LOG.warning(
            "Internal and External SIM have been disabled by configuration, fallback to Internal enable!");
        data_.internal_sim.state = defs::SimState::ENABLE;
    }
}

defs::SimState Modem::sim_state_from(const std::string& key) const
{
    const std::string value = configuration_->get(key);
    const auto state = defs::from_str(value, defs::SimState::AUTO);
    if (!state) {
        LOG.notice("Unable to parse ", value,
                   " to valid state assuming: ", defs::to_str(defs::SimState::AUTO));
        return defs::SimState::AUTO;
    }
    LOG.info("SimState for '", key, "': ", defs::to_str(*state));
    return *state;
}

std::string Modem::system_text(std::uint32_t id) const
{
    const auto entry = system_parameters_->get(id);
    if (!entry || !entry->has_text()) {
        return {};
    }
    return settings::safe_argument(entry->text(), "system parameter " + std::to_string(id));
}

void Modem::read_system_parameters()
{
    system_parameters_ = ecu::kova::var::create_sysparams_client();
    const auto fill = [this](std::string& text, std::uint32_t id) {
        if (text.empty()) {
            text = system_text(id);
        }
    };
    auto& internal = data_.internal_sim;
    fill(internal.apn, INTERNAL_APN);
    fill(internal.user, INTERNAL_USER);
    fill(internal.password, INTERNAL_PASSWORD);
    auto& external = data_.external_sim;
    fill(external.apn, EXTERNAL_APN);
    fill(external.user, EXTERNAL_USER);
    fill(external.password, EXTERNAL_PASSWORD);
    // Secrets: at DEBUG only.
    LOG.debug("Use int.APN: '", internal.apn, "' int.user: '", internal.user, "' int.password: '",
              internal.password, "'");
    LOG.debug("Use ext.APN: '", external.apn, "' ext.user: '", external.user, "' ext.password: '",
              external.password, "'");
}

std::string Modem::wait_for_variable(const char* name)
{
    std::string value = variables_->get(name, "", VARIABLE_TIMEOUT);
    while (value.empty()) {
        clock_.sleep_for(VARIABLE_PAUSE);
        value = variables_->get(name, "", VARIABLE_TIMEOUT);
    }
    return value;
}

void Modem::read_hardware_variant()
{
    variables_ = ecu::kova::var::create_var_client();
    LOG.notice("Retrieve hardware variant...");
    hardware_variant_ = wait_for_variable("hwvariant");
    LOG.notice("hardware variant: ", hardware_variant_);

    LOG.info("Retrieve hardware has sim (int, ext)...");
    apply_variant_property("hasintsim", data_.internal_sim.state);
    apply_variant_property("hasextsim", data_.external_sim.state);
    keep_one_sim_usable(); // a board that denies both would wait for a card for ever
    LOG.notice("Internal SIM state: ", defs::to_str(data_.internal_sim.state));
    LOG.notice("External SIM state: ", defs::to_str(data_.external_sim.state));
}

void Modem::apply_variant_property(const char* name, defs::SimState& state)
{
    const std::string answer = variables_->get(name, "", PROPERTY_TIMEOUT);
    if (answer.empty()) {
        LOG.info("Hardware variant property ", name, " ignored!");
        return;
    }
    LOG.info("Hardware variant property query: '", name, "' returned '", answer, "'");
    state = answer == "false" ? defs::SimState::DISABLE : defs::SimState::ENABLE;
}

bool Modem::init_gpio()
{
    gpio_ = GpioCtrl::create(variables_, clock_);
    if (!gpio_->init()) {
        LOG.error("Unable to initialize GPIOs, bailing out!");
        return false;
    }
    return true;
}

/// "ModemOnOff": a zero or absent answer is an order not to start.
void Modem::read_off_parameter()
{
    const auto entry = system_parameters_->get(MODEM_ON_OFF);
    const bool off = !entry || !entry->has_number() || entry->number() == 0;
    if (off && !off_by_parameter_) {
        LOG.notice("ModemOnOff parameter indicates to not start the modem.");
    } else if (!off && off_by_parameter_) {
        LOG.notice("ModemOnOff parameter indicates to start the modem.");
    }
    off_by_parameter_ = off;
}

void Modem::init_modem_presence()
{
    if (hardware_variant_.find("RMX") != std::string::npos) {
        read_off_parameter();
        if (off_by_parameter_) {
            change_state(State::OFF);
        }
    }
    if (wait_for_variable("modemtype") == "NONE") {
        LOG.notice("Board doesn't have a modem, put celld to off state!");
        change_state(State::NO_MODEM_HARDWARE);
    }
}

AntennaHandler::Settings Modem::read_antenna_settings() const
{
    const auto number = [this](const char* key) {
        return settings::leading_signed(configuration_->get(key));
    };
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

AntennaLimits Modem::read_antenna_limits()
{
    LOG.info("Retrieve has antenna configuration...");
    const auto bound = [this](std::uint32_t id) -> std::optional<std::int64_t> {
        const auto entry = system_parameters_->get(id);
        return entry && entry->has_number() ? std::optional<std::int64_t>(entry->number()) : std::nullopt;
    };
    const AntennaBounds main{bound(MAIN_ANTENNA_MIN), bound(MAIN_ANTENNA_MAX)};
    const AntennaBounds diversity{bound(DIVERSITY_ANTENNA_MIN), bound(DIVERSITY_ANTENNA_MAX)};

    const std::string fitting = variables_->get("divantenna", "", VARIABLE_TIMEOUT);
    if (fitting.empty()) {
        LOG.error("Failed to get mandatory ECU variable 'divantenna' from ECU, assume single antenna!");
    } else {
        LOG.notice("has diversity antenna: ", fitting);
    }
    const auto limits = antenna_limits(main, diversity, is_diversity_antenna(fitting));
    if (!limits) {
        LOG.warning("The antenna's impedance bounds (system parameters ", MAIN_ANTENNA_MIN, " to ",
                    DIVERSITY_ANTENNA_MAX,
                    ") are absent or make no range; only an impedance of 0 is reported");
    }
    return limits.value_or(AntennaLimits{});
}

void Modem::init_antenna()
{
    const auto antenna_settings = read_antenna_settings();
    const auto limits = read_antenna_limits();
    LOG.notice("Antenna diagnostics (impedance): max: ", limits.max, " min: ", limits.min);
    antenna_ = std::make_unique<AntennaHandler>(port_, &data_, bus_, antenna_settings, limits, clock_);
}
