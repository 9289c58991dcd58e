#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"

#include <string>

/// Who the module is (3GPP TS 27.007, 5.1 to 5.4: "+CGMI", "+CGMM", "+CGSN", of which u-blox modules know the
/// short forms). Main thread; an answer that does not come costs its time-out.
namespace module_identity {

/// The text of an answer to `command` without an echo of it, fit for a message and a log line. Empty when
/// bytes are in it that no such text has: line noise, not a name.
std::string text_of(const AtCommandResponse& answer, const std::string& command);

/// Manufacturer ("+GMI") and IMEI ("+CGSN"). One that is not answered stays as it is.
void ask(AtTtyPort& port, ModemData::ModuleIdentity& module);
/// The same for what is missing.
void ask_missing(AtTtyPort& port, ModemData::ModuleIdentity& module);

} // namespace module_identity
