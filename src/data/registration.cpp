#include "data/registration.hpp"

namespace registration {

bool is_registered(int status)
{
    switch (status) {
    case stat::HOME:
    case stat::ROAMING:
    case stat::SMS_ONLY_HOME:
    case stat::SMS_ONLY_ROAMING:
    case stat::CSFB_NOT_PREFERRED_HOME:
    case stat::CSFB_NOT_PREFERRED_ROAMING:
        return true;
    default:
        return false;
    }
}

} // namespace registration
