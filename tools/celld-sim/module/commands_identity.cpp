#include "module/command_table.hpp"
#include "module/module.hpp"

#include <array>

namespace bench {
namespace {

bool is_sara(const Module& module)
{
    return module.family() == Family::SARA;
}

AtAnswer manufacturer(Module&, const AtRequest&)
{
    return AtAnswer::line("u-blox");
}

AtAnswer model(Module& module, const AtRequest&)
{
    return AtAnswer::line(is_sara(module) ? "SARA-U201" : "TOBY-L200");
}

AtAnswer revision(Module& module, const AtRequest&)
{
    return AtAnswer::line(is_sara(module) ? "23.60" : "17.00");
}

AtAnswer serial_number(Module& module, const AtRequest&)
{
    return AtAnswer::line(is_sara(module) ? "490154203237518" : "356938035643809"); // right check digits
}

AtAnswer echo(Module& module, const AtRequest& request)
{
    const auto value = request.has(0) ? request.number(0, 0, 1) : 0;
    if (!value) {
        return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
    }
    module.interpreter().echo(*value == 1);
    return AtAnswer::ok();
}

AtAnswer error_format(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        return AtAnswer::line("+CMEE: " + std::to_string(module.session().cmee));
    }
    const auto value = request.number(0, 0, 2);
    if (!value) {
        return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
    }
    module.session().cmee = *value;
    return AtAnswer::ok();
}

constexpr std::array ROWS{
    CommandRow{"E", BOTH, &echo},
    CommandRow{"+GMI", BOTH, &manufacturer},
    CommandRow{"+CGMI", BOTH, &manufacturer},
    CommandRow{"+GMM", BOTH, &model},
    CommandRow{"+CGMM", BOTH, &model},
    CommandRow{"+GMR", BOTH, &revision},
    CommandRow{"+CGMR", BOTH, &revision},
    CommandRow{"+GSN", BOTH, &serial_number},
    CommandRow{"+CGSN", BOTH, &serial_number},
    CommandRow{"+CMEE", BOTH, &error_format, 1, "(0-2)"},
};

} // namespace

std::span<const CommandRow> identity_commands()
{
    return ROWS;
}

} // namespace bench
