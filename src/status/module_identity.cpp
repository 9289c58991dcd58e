#include "status/module_identity.hpp"

#include "at/at_text.hpp"
#include "utils/strings.hpp"

#include <algorithm>

namespace {

constexpr at::Digits IMEI{14, 16};              // 3GPP TS 23.003, 6.2: with check digit or software version
constexpr std::size_t MAX_IDENTITY_LENGTH = 64; // model, manufacturer; more is garbage
constexpr const char* MAKER_QUERY = "+GMI";
constexpr const char* IMEI_QUERY = "+CGSN";

bool is_printable(unsigned char c)
{
    return c >= ' ' && c <= '~';
}

void ask_maker(AtTtyPort& port, ModemData::ModuleIdentity& module)
{
    const auto answer = port.execute(AtCommand(MAKER_QUERY));
    if (answer.is_ok()) {
        module.manu = module_identity::text_of(answer.unwrap(), MAKER_QUERY);
    }
}

void ask_imei(AtTtyPort& port, ModemData::ModuleIdentity& module)
{
    const auto answer = port.execute(AtCommand(IMEI_QUERY));
    if (answer.is_ok()) {
        module.imei = at::last_identity(answer.unwrap().complete_message(), IMEI);
    }
}

} // namespace

std::string module_identity::text_of(const AtCommandResponse& answer, const std::string& command)
{
    std::string text = answer.payload(command);
    utils::replace(text, "AT" + command, "");
    utils::trim(text);
    text.resize(std::min(text.size(), MAX_IDENTITY_LENGTH));
    return std::all_of(text.begin(), text.end(), is_printable) ? text : "";
}

void module_identity::ask(AtTtyPort& port, ModemData::ModuleIdentity& module)
{
    ask_maker(port, module);
    ask_imei(port, module);
}

void module_identity::ask_missing(AtTtyPort& port, ModemData::ModuleIdentity& module)
{
    if (module.manu.empty()) {
        ask_maker(port, module);
    }
    if (module.imei.empty()) {
        ask_imei(port, module);
    }
}
