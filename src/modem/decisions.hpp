#pragma once

#include "data/modem_data.hpp"
#include "modem/modem_state.hpp"

/// What the modem decides, as functions of values: no port, no log.
namespace decisions {

/// The next state by registration. Acts in CONFIGURED and from REGISTERING to SEARCHING. `search_active`
/// counts only while the module says that it searches.
ModemState by_registration(ModemState current, const ModemData::NwRegStatus& status, bool search_active);

/// The next state by the module's back-off report (+UUNFM): a running timer leads to BACKOFF, attempts that
/// have been used up to a new registration.
ModemState by_backoff(ModemState current, bool active, defs::NwFriendlyModeType type);

/// The next state by radio silence.
ModemState by_radio_silence(ModemState current, bool off_by_parameter, bool blackout);

} // namespace decisions
