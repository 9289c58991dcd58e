#include "modem/resets.hpp"

void Resets::prepare(Reason reason, const std::string& cause)
{
    if (machine_.may_go_to(ModemState::RESET)) {
        data_.pb_reset_reason(reason);
        status_.update(false, true);
    }
    machine_.change(ModemState::RESET, cause);
}
