#pragma once

#include "data/sim_access.hpp"
#include "modem/modem_limits.hpp"
#include "status/antenna_handler.hpp"
#include "status/antenna_limits.hpp"

#include <ecu/kova/config/configuration.hpp>
#include <ecu/pb/modem.pb.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// Where the settings come from.
struct UnitSources {
    using Parameter = std::optional<ecu::kova::pb::SystemParameterEntry>;

    const ecu::kova::config::Configuration& configuration;
    /// A system parameter of the unit, by number.
    std::function<Parameter(std::uint32_t id)> parameter;
    /// An ECU variable; waits for it `patience` at most, for ever without; empty when there is none.
    std::function<std::string(const char* name, std::optional<std::chrono::milliseconds> patience)> variable;
    /// Puts the board's lines into their initial levels; false when that failed. Asked once it is known which
    /// board this is, and before anything that may take long is waited for.
    std::function<bool()> board_ready;
};

/// All that configuration, system parameters and ECU variables say, as one value.
struct UnitSettings {
    SimConfiguration internal_sim;
    SimConfiguration external_sim;
    bool router_mode = false;
    ModemLimits limits;
    std::string hardware_variant;
    bool sim_lock_active_high = false; ///< which level of the SIM-lock input means the external SIM

    bool board_ready = false; ///< what follows is not read without the board
    bool off_by_parameter = false;
    bool modem_fitted = true;
    AntennaHandler::Settings antenna;
    AntennaLimits antenna_limits;

    /// Whether the parameter "ModemOnOff" counts on this board.
    bool heeds_off_parameter() const { return hardware_variant.find("RMX") != std::string::npos; }
};

/// Depends on nothing but its sources, which it asks in a fixed order. What cannot be used is logged on
/// "celld.modem" and has its default.
UnitSettings read_unit_settings(const UnitSources& sources);

/// "ModemOnOff": a zero or absent answer is an order not to start.
bool orders_off(const UnitSources::Parameter& modem_on_off);
constexpr std::uint32_t MODEM_ON_OFF = 41060; ///< its number
