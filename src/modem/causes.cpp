#include "modem/causes.hpp"

namespace causes {
namespace {

namespace stat = registration::stat;

std::string denied(const std::optional<int>& cause)
{
    if (!cause) {
        return "registration denied";
    }
    const char* const name = defs::name_of(defs::CAUSE_ENUM_MAP, *cause);
    return "registration denied, cause " + std::to_string(*cause) +
           (name == nullptr ? "" : " (" + std::string(name) + ")");
}

} // namespace

std::string of_registration(const ModemData& data)
{
    const int status = data.nw_reg.deciding_status();
    if (registration::is_registered(status)) {
        return "registered (" + defs::text_of(defs::CREG_ENUM_MAP, status) + ", " +
               defs::text_of(defs::RAT_ENUM_MAP, data.nw_reg.rat) + ")";
    }
    if (data.card_removed) {
        return "SIM removed";
    }
    const auto& domains = data.nw_reg; // a denial says more than another domain's search
    if (domains.c_reg == stat::DENIED || domains.cg_reg == stat::DENIED || domains.ce_reg == stat::DENIED) {
        return denied(data.nw_reg.reject_cause);
    }
    switch (status) {
    case stat::NOT_REGISTERED:
        return "not registered, no search";
    case stat::SEARCHING:
        return "not registered, the module searches";
    case stat::UNKNOWN:
        return "registration unknown";
    default:
        return "registration " + defs::text_of(defs::CREG_ENUM_MAP, status);
    }
}

} // namespace causes
