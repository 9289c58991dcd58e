#include "modem/decisions.hpp"

#include "modem/state_table.hpp"

namespace decisions {
namespace {

using S = ModemState;

} // namespace

ModemState by_registration(ModemState current, const ModemData::NwRegStatus& status, bool search_active)
{
    if (current != S::CONFIGURED && !row_of(current).traits.network) {
        return current;
    }
    const int deciding = status.deciding_status();
    if (registration::is_registered(deciding)) {
        const bool already = current == S::CONNECTED || current == S::ACTIVATE_CONTEXT;
        return !already && status.packet_domain_usable() ? S::REGISTERED : current;
    }
    switch (deciding) {
    case registration::stat::NOT_REGISTERED:
    case registration::stat::UNKNOWN:
        return S::REGISTERING;
    case registration::stat::SEARCHING:
        return search_active ? S::SEARCHING : S::REGISTERING;
    case registration::stat::DENIED:
        return S::DISCONNECTED;
    default: // emergency, and whatever else a module may say
        return current;
    }
}

ModemState by_backoff(ModemState current, bool active, defs::NwFriendlyModeType type)
{
    const bool listens = current == S::REGISTERING || current == S::REGISTERED ||
                         current == S::ACTIVATE_CONTEXT || current == S::CONNECTED || current == S::SEARCHING;
    if (!active || !listens) {
        return current;
    }
    switch (type) {
    case defs::NwFriendlyModeType::CS_BACKOFF:
    case defs::NwFriendlyModeType::PS_BACKOFF:
    case defs::NwFriendlyModeType::PDP_BACKOFF:
        return S::BACKOFF;
    case defs::NwFriendlyModeType::CS_ATTEMPTS:
    case defs::NwFriendlyModeType::PS_ATTEMPTS:
    case defs::NwFriendlyModeType::PDP_ATTEMPTS:
        return S::REGISTERING;
    case defs::NwFriendlyModeType::SMS_BACKOFF:
        break;
    }
    return current;
}

ModemState by_radio_silence(ModemState current, bool off_by_parameter, bool blackout)
{
    if (off_by_parameter) {
        return current;
    }
    if (!blackout) {
        return S::POWER_ON;
    }
    return current == S::OFF ? S::OFF : S::POWER_OFF;
}

} // namespace decisions
