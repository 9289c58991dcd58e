#pragma once

#include "doctor/findings.hpp"
#include "doctor/unit_file.hpp"
#include "modem/unit_settings.hpp"
#include "session.hpp"

#include <ecu/kova/config/configuration.hpp>

namespace celldctl {

/// What the doctor looks at, one after the other. None changes anything, none takes the port.

/// "/etc/vexa/celld.conf" itself: whether celld starts with it, slips, secrets, certificates.
void check_configuration(const UnitFile& file, Findings& findings);
/// Its numbers: those that are none, and limits that act before there is a reason.
void check_limits(const ecu::kova::config::Configuration& configuration, Findings& findings);
/// The ECU variables: those that are waited for, values that nobody has, names that are nearly known.
void check_variables(const UnitFile& file, Findings& findings);
/// The system parameters themselves.
void check_parameters(const UnitFile& file, Findings& findings);
/// What the three files come to, as the daemon reads them.
void check_settings(const UnitSettings& settings, Findings& findings);

/// What the file sets; lines that are none are left out.
ecu::kova::config::Configuration configuration_of(const UnitFile& file);

/// The AT port: whether it is there, may be opened, and which process has it open.
void check_device(Findings& findings);
/// Whether celld runs; the lines of the board in the kernel's GPIO tree.
void check_daemon(Findings& findings);
void check_board(const std::string& hardware_version, Findings& findings);
/// The broker, the login, what is retained and how old it is. Throws Failure only for a signal.
void check_bus(Session& session, std::chrono::seconds timeout, Findings& findings);

} // namespace celldctl
