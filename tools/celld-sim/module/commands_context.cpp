#include "module/command_table.hpp"
#include "module/module.hpp"

#include <array>

namespace bench {
namespace {

constexpr int MAX_CID = 8;
constexpr std::size_t MAX_TEXT = 100; ///< +CGDCONT and +UAUTHREQ take at most 99 and 64 characters
constexpr int MAX_AUTHENTICATION = 3; ///< 0 none, 1 PAP, 2 CHAP, 3 either

AtAnswer bad_value()
{
    return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
}

AtAnswer define_context(Module& module, const AtRequest& request)
{
    auto& contexts = module.session().contexts;
    if (request.form == Form::READ) {
        AtAnswer answer;
        for (const auto& [cid, context] : contexts) {
            answer.lines.push_back("+CGDCONT: " + std::to_string(cid) + ",\"" + context.type + "\",\"" +
                                   context.apn + "\",\"" + (context.active ? "10.64.0.17" : "") + "\",0,0");
        }
        return answer;
    }
    const auto cid = request.number(0, 1, MAX_CID);
    if (!cid) {
        return bad_value();
    }
    if (request.args.size() == 1) {
        contexts.erase(*cid); // 3GPP TS 27.007, 10.1.1: the id alone undefines the context
        return AtAnswer::ok();
    }
    const auto apn = request.argument(2);
    if (apn.size() > MAX_TEXT) {
        return AtAnswer::failed(Cme::TEXT_TOO_LONG);
    }
    contexts[*cid].type = request.argument(1);
    contexts[*cid].apn = apn;
    return AtAnswer::ok();
}

// +UAUTHREQ=<cid>,<type>,<user>,<password>
AtAnswer authentication(Module& module, const AtRequest& request)
{
    const auto cid = request.number(0, 1, MAX_CID);
    const auto type = request.number(1, 0, MAX_AUTHENTICATION);
    if (!cid || !type || (*type > 0 && !request.has(2))) {
        return bad_value();
    }
    if (!module.session().contexts.contains(*cid)) {
        return AtAnswer::failed(Cme::OPERATION_NOT_ALLOWED);
    }
    return AtAnswer::ok();
}

// +UCGDFLT=<action>,<PDP type>,<APN>,...: the default bearer of the next attach.
AtAnswer default_bearer(Module& module, const AtRequest& request)
{
    if (!request.number(0, 0, 1) || request.args.size() < 3) {
        return bad_value();
    }
    module.session().default_apn = request.argument(2);
    return AtAnswer::ok();
}

// +CGACT: <cid>,<state>, a line a context; +CGACT=<state>,<cid>
AtAnswer activation(Module& module, const AtRequest& request)
{
    auto& contexts = module.session().contexts;
    if (request.form == Form::READ) {
        AtAnswer answer;
        for (const auto& [cid, context] : contexts) {
            answer.lines.push_back("+CGACT: " + std::to_string(cid) + "," + (context.active ? "1" : "0"));
        }
        return answer;
    }
    const auto state = request.number(0, 0, 1);
    const auto cid = request.number(1, 1, MAX_CID);
    if (!state || !cid || !contexts.contains(*cid)) {
        return AtAnswer::failed(Cme::OPERATION_NOT_ALLOWED);
    }
    if (*state == 1 && !module.network().attached()) {
        return AtAnswer::failed(Cme::UNSPECIFIED_GPRS_ERROR);
    }
    contexts[*cid].active = *state == 1;
    return AtAnswer::ok();
}

// +UCEDATA=<cid>,<L2P>: activates the context and joins it to the CDC-ECM interface, which needs USB
// profile 2.
AtAnswer ethernet_data(Module& module, const AtRequest& request)
{
    auto& contexts = module.session().contexts;
    const auto cid = request.number(0, 1, MAX_CID);
    if (!cid || request.number(1, 0, 1) != 0 || !contexts.contains(*cid)) {
        return AtAnswer::failed(Cme::OPERATION_NOT_ALLOWED);
    }
    if (module.session().in_force["uusbconf"] != "2") {
        return AtAnswer::failed(Cme::OPERATION_NOT_ALLOWED);
    }
    if (!module.network().attached()) {
        return AtAnswer::failed(Cme::NO_NETWORK_SERVICE);
    }
    if (contexts[*cid].active) {
        return {.lines = {}, .error = Cme::UNKNOWN, .error_text = "CDC-ECM is busy", .afterwards = {}};
    }
    contexts[*cid].active = true;
    return AtAnswer::ok();
}

constexpr std::array ROWS{
    CommandRow{"+CGDCONT", BOTH, &define_context, 2},
    CommandRow{"+UAUTHREQ", BOTH, &authentication, 2},
    CommandRow{"+UCGDFLT", TOBY_ONLY, &default_bearer, 2},
    CommandRow{"+CGACT", BOTH, &activation, 20, "(0-1)"},
    CommandRow{"+UCEDATA", SARA_ONLY, &ethernet_data, 40},
};

} // namespace

std::span<const CommandRow> context_commands()
{
    return ROWS;
}

} // namespace bench
