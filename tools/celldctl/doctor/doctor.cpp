#include "at/at_recording.hpp"
#include "doctor/checks.hpp"
#include "doctor/processes.hpp"
#include "doctor/records_check.hpp"
#include "main/configuration_defaults.hpp"
#include "verbs.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/var/variables_client.hpp>

#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;

constexpr auto CONFIGURATION = "/etc/vexa/celld.conf";
constexpr auto VARIABLES = "/etc/vexa/ecu_variables.conf";
constexpr auto PARAMETERS = "/etc/vexa/system_parameters.conf";
constexpr auto CONNECT_TIMEOUT = 5s;

struct Settings {
    bool json = false;
    bool files = false;
    std::optional<std::chrono::seconds> timeout;
};

/// As the daemon does it, without its waits.
UnitSettings settings_of(const ecu::kova::config::Configuration& configuration)
{
    const auto variables = ecu::kova::var::create_var_client();
    const auto parameters = ecu::kova::var::create_sysparams_client();
    return read_unit_settings({configuration, [&](std::uint32_t id) { return parameters->get(id); },
                               [&](const char* name, std::optional<std::chrono::milliseconds>) {
                                   return variables->get(name, "", 0ms);
                               },
                               [] { return true; }});
}

/// The configuration as the daemon would have it.
ecu::kova::config::Configuration check_files(Findings& findings)
{
    const auto file = read_unit_file(CONFIGURATION);
    findings.area("celld.conf");
    check_configuration(file, findings);
    auto configuration = configuration_of(file);
    register_defaults(configuration);
    if (file.is_readable()) {
        check_limits(configuration, findings);
    }
    findings.area("ECU variables");
    check_variables(read_unit_file(VARIABLES), findings);
    findings.area("system parameters");
    check_parameters(read_unit_file(PARAMETERS), findings);
    findings.area("unit");
    check_settings(settings_of(configuration), findings);
    return configuration;
}

void check_surroundings(Session& session, const Settings& settings,
                        const ecu::kova::config::Configuration& configuration, Findings& findings)
{
    findings.area("daemon");
    check_daemon(findings);
    findings.area("port");
    check_device(findings);
    findings.area("board");
    check_board(ecu::kova::var::create_var_client()->get("hwversion", "", 0ms), findings);
    findings.area("records");
    check_records(writer_of_records(), configuration.get(AtRecording::CONFIG_KEY) == "true",
                  running_celld() != 0, findings);
    findings.area("bus");
    check_bus(session, settings.timeout.value_or(CONNECT_TIMEOUT), findings);
}

/// All that it is asked for: another unit's files and board are out of reach.
void check(Session& session, const Settings& settings, Findings& findings)
{
    if (session.broker.unit) {
        findings.area("bus");
        check_bus(session, settings.timeout.value_or(CONNECT_TIMEOUT), findings);
        return;
    }
    const auto configuration = check_files(findings);
    if (!settings.files) {
        check_surroundings(session, settings, configuration, findings);
    }
}

int examine(Session& session, const Settings& settings)
{
    if (session.broker.unit && settings.files) {
        throw UsageError("--files are those of this host, --unit is another");
    }
    // What the daemon's parts would log is what is told here.
    ecu::kova::logging::configure_logging("EMERG");
    Findings findings;
    check(session, settings, findings);
    session.output.write(settings.json ? findings_json(findings) : findings_text(findings));
    return findings.count(Level::ERROR) == 0 ? SUCCESS : NO;
}

} // namespace

Run doctor(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.flag("--files", settings->files, "only the three files: no broker and no running daemon");
    options.flag("--json", settings->json, "for a program, see celldctl-doctor.md");
    options.seconds("--timeout", settings->timeout, "give the broker that long to answer (default 5)");
    return [settings](Session& session) { return examine(session, *settings); };
}

} // namespace celldctl
