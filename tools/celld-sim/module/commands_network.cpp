#include "module/command_table.hpp"
#include "module/module.hpp"

#include <array>
#include <ctime>

namespace bench {
namespace {

constexpr int NO_SIGNAL = 99; ///< "not known or not detectable", 3GPP TS 27.007 clause 8.5

std::string quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

AtAnswer read_operator(Module& module)
{
    const auto mode = "+COPS: " + std::to_string(module.session().cops_mode);
    if (!module.network().registered()) {
        return AtAnswer::line(mode);
    }
    const auto& around = module.network().surroundings();
    return AtAnswer::line(mode + ",0," + quoted(around.operator_name) + "," + std::to_string(around.act));
}

// +COPS=<mode>: 0 selects by itself and registers, 2 deregisters; 3 sets the format of the name, of which the
// bench has only the long one.
AtAnswer operator_selection(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        return read_operator(module);
    }
    const int mode = request.number(0).value_or(-1);
    if (mode != 0 && mode != 2 && mode != 3) {
        return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
    }
    if (mode != 3) {
        module.session().cops_mode = mode;
        module.update_radio();
    }
    return AtAnswer::ok();
}

// +UDOPN=<type>: 0 number, 2 and 4 long name, 1 and 3 short name, 7 name on the SIM.
AtAnswer operator_name(Module& module, const AtRequest& request)
{
    const auto type = request.number(0, 0, 12);
    if (!type || request.form != Form::SET) {
        return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
    }
    if (!module.network().registered()) {
        return AtAnswer::failed(Cme::OPERATION_NOT_ALLOWED);
    }
    const auto& around = module.network().surroundings();
    const auto& name = *type == 0   ? around.operator_id
                       : *type == 7 ? around.sim_operator_name
                                    : around.operator_name;
    return AtAnswer::line("+UDOPN: " + std::to_string(*type) + "," + quoted(name));
}

// +CCLK: "yy/MM/dd,hh:mm:ss+zz", local time with the zone in quarter-hours; the bench lives one hour east of
// UTC.
AtAnswer clock(Module& module, const AtRequest& request)
{
    if (request.form != Form::READ) {
        return AtAnswer::ok();
    }
    if (!module.session().time_known) {
        return AtAnswer::line(R"(+CCLK: "04/01/01,00:00:00+00")"); // what the clock starts from
    }
    constexpr std::time_t ONE_HOUR = 3600;
    const std::time_t local = std::time(nullptr) + ONE_HOUR;
    std::tm fields{};
    ::gmtime_r(&local, &fields);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), R"(%Y/%m/%d,%H:%M:%S+04")", &fields);
    constexpr std::size_t CENTURY = 2; // digits of the year that the command leaves out
    return AtAnswer::line(R"(+CCLK: ")" + std::string(text.data() + CENTURY));
}

AtAnswer signal(Module& module, const AtRequest&)
{
    const auto& around = module.network().surroundings();
    const bool heard = module.session().cfun == 1 && around.answer != Surroundings::Answer::LOST;
    return AtAnswer::line("+CSQ: " + std::to_string(heard ? around.rssi : NO_SIGNAL) + "," +
                          std::to_string(NO_SIGNAL));
}

AtAnswer antenna(Module& module, const AtRequest& request)
{
    const auto id = request.number(0, 0, 1);
    if (!id) {
        return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
    }
    return AtAnswer::line("+UANTR: " + std::to_string(*id) + "," +
                          std::to_string(module.network().surroundings().antenna_ohm));
}

constexpr std::array ROWS{
    CommandRow{"+COPS", BOTH, &operator_selection, 20,
               R"((2,"Bench Mobile","Bench","00101",2),,(0,2,3),(0))"},
    CommandRow{"+UDOPN", BOTH, &operator_name, 1, "(0-12)"},
    CommandRow{"+CCLK", BOTH, &clock},
    CommandRow{"+CSQ", BOTH, &signal, 1, "(0-31,99),(0-7,99)"},
    CommandRow{"+UANTR", BOTH, &antenna, 5, "(0-1)"},
};

} // namespace

std::span<const CommandRow> network_commands()
{
    return ROWS;
}

} // namespace bench
