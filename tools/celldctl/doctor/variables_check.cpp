#include "at/at_text.hpp"
#include "data/defs.hpp"
#include "doctor/checks.hpp"
#include "modem/unit_words.hpp"
#include "utils/strings.hpp"
#include "utils/words.hpp"

#include <limits>
#include <vector>

namespace celldctl {

namespace {

std::string unquoted(const std::string& value)
{
    const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    return quoted ? value.substr(1, value.size() - 2) : value;
}

std::vector<const char*> variable_names()
{
    std::vector<const char*> names;
    names.reserve(unit_variables().size());
    for (const auto& variable : unit_variables()) {
        names.push_back(variable.name);
    }
    return names;
}

void check_variable(const UnitFile& file, const UnitVariable& variable, Findings& findings)
{
    const auto* const set = file.find(variable.name);
    const auto value = set == nullptr ? std::string() : unquoted(*set);
    if (value.empty()) {
        const auto text = std::string(variable.name) + " is not set: " + variable.without_it;
        variable.is_awaited ? findings.error(text, "set it in " + file.path)
                            : findings.warning(text, "set it in " + file.path);
        return;
    }
    if (variable.values.empty() || utils::is_among(value, variable.values)) {
        findings.ok(std::string(variable.name) + " = " + value);
        return;
    }
    const auto* const meant = utils::nearest(value, variable.values);
    findings.warning(std::string(variable.name) + " = '" + value + "' is none of " +
                         utils::listed(variable.values),
                     meant != nullptr ? "write '" + std::string(meant) + "'" : "write one of these");
}

/// The file may hold variables that are none of celld's business; only a near miss is told.
void check_near_misses(const UnitFile& file, Findings& findings)
{
    const auto names = variable_names();
    for (const auto& line : file.lines) {
        if (utils::is_among(line.key, names)) {
            continue;
        }
        if (const auto* const meant = utils::nearest(line.key, names); meant != nullptr) {
            findings.warning("line " + std::to_string(line.number) + ": nobody asks for '" + line.key + "'",
                             "did you mean '" + std::string(meant) + "'?");
        }
    }
}

void check_faults(const UnitFile& file, Findings& findings)
{
    for (const auto& fault : file.faults) {
        findings.warning("line " + std::to_string(fault.number) + ": " + fault.text + ", skipped",
                         "write it as 'name = value', or begin it with #");
    }
}

/// What cannot be read is as if it were not there.
void tell_trouble(const UnitFile& file, Findings& findings, const std::string& consequence)
{
    const auto text = file.path + (file.exists ? " cannot be read: " + file.trouble : " is not there");
    findings.warning(text + consequence, "a commented sample is in /usr/share/doc/celld");
}

void check_sim(const char* name, const SimConfiguration& sim, Findings& findings)
{
    if (sim.state == defs::SimState::DISABLE) {
        findings.ok(std::string(name) + " SIM is disabled");
    } else if (sim.apn.empty()) {
        findings.warning(std::string(name) + " SIM has no access point: the network chooses one",
                         "set sim." + utils::lower_case(name) + ".apn, unless the network has a default");
    } else {
        findings.ok(std::string(name) + " SIM: access point " + sim.apn);
    }
}

} // namespace

void check_variables(const UnitFile& file, Findings& findings)
{
    if (!file.is_readable()) {
        tell_trouble(file, findings, "");
    }
    check_file(file, false, findings);
    check_faults(file, findings);
    for (const auto& variable : unit_variables()) {
        check_variable(file, variable, findings);
    }
    check_near_misses(file, findings);
}

void check_parameters(const UnitFile& file, Findings& findings)
{
    constexpr auto INTERNAL_PASSWORD = "8233";
    constexpr auto EXTERNAL_PASSWORD = "41076";
    if (!file.is_readable()) {
        tell_trouble(file, findings, ": no parameter is set");
        return;
    }
    check_file(file, file.find(INTERNAL_PASSWORD) != nullptr || file.find(EXTERNAL_PASSWORD) != nullptr,
               findings);
    check_faults(file, findings);
    for (const auto& line : file.lines) {
        if (line.key.find_first_not_of("0123456789") != std::string::npos) {
            findings.warning("line " + std::to_string(line.number) + ": '" + line.key +
                                 "' is no parameter's number",
                             "parameters are known by decimal numbers");
        }
    }
}

void check_settings(const UnitSettings& settings, Findings& findings)
{
    check_sim("Internal", settings.internal_sim, findings);
    check_sim("External", settings.external_sim, findings);
    if (!settings.modem_fitted) {
        findings.warning("modemtype says that no module is fitted: celld has nothing to do", "see modemtype");
    }
    if (settings.off_by_parameter) {
        findings.warning("system parameter " + std::to_string(MODEM_ON_OFF) +
                             " is 0 or absent on an RMX board: the module stays off",
                         "set it to 1 to have the module on");
    }
    const auto& antenna = settings.antenna_limits;
    if (antenna.max == std::numeric_limits<std::int32_t>::max()) {
        findings.warning(
            "the antenna's impedance bounds (system parameters 41024 to 41027) are absent or make no "
            "range: only an impedance of 0 is reported",
            "set them to the bounds of a healthy antenna");
    } else {
        findings.ok("a healthy antenna measures " + std::to_string(antenna.min) + " to " +
                    std::to_string(antenna.max));
    }
}

} // namespace celldctl
