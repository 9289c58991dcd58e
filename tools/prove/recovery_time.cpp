#include "recovery_time.hpp"

namespace {

bool took_more(const Recovery& recovery, std::chrono::seconds besides)
{
    const std::chrono::duration<double> took = recovery.took;
    const std::chrono::duration<double> waits = recovery.waits;
    return !recovery.held && took > MUCH * waits + besides;
}

} // namespace

bool took_long(const Recovery& recovery)
{
    return took_more(recovery, A_FEW_PASSES);
}

bool took_too_long(const Recovery& recovery)
{
    return took_more(recovery, A_SEQUENCE);
}
