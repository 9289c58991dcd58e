#include "module/command_table.hpp"
#include "module/module.hpp"

#include <algorithm>
#include <array>

namespace bench {
namespace {

constexpr int MAX_GPIO_MODE = 255; ///< "pad disabled", the last of the manual's list
constexpr int USB_PROFILES = 3;

AtAnswer bad_value()
{
    return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
}

AtAnswer not_allowed()
{
    return AtAnswer::failed(Cme::OPERATION_NOT_ALLOWED);
}

// +UUSBCONF: <id>,<network>,<audio>,<USB product id>; takes effect at the next restart.
AtAnswer usb_profile(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        constexpr std::array TEXTS{R"(0,"",,"0x1102")", R"(1,"",,"0x1101")", R"(2,"ECM",,"0x1104")",
                                   R"(3,"RNDIS",,"0x1103")"};
        const auto id =
            static_cast<std::size_t>(std::clamp(module.nvm().number("uusbconf"), 0, USB_PROFILES));
        return AtAnswer::line(std::string("+UUSBCONF: ") + TEXTS[id]);
    }
    const auto id = request.number(0, 0, USB_PROFILES);
    if (!id) {
        return bad_value();
    }
    module.nvm().set("uusbconf", std::to_string(*id));
    return AtAnswer::ok();
}

// +UBMCONF: 1 router, 2 bridge; takes effect at the next restart.
AtAnswer bridge_mode(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        return AtAnswer::line("+UBMCONF: " + module.nvm().get("ubmconf"));
    }
    const auto mode = request.number(0, 1, 2);
    if (!mode) {
        return bad_value();
    }
    module.nvm().set("ubmconf", std::to_string(*mode));
    return AtAnswer::ok();
}

// +UDCONF=50[,<hot swap>]: the only profile of this command that the bench has; reading it is a set without a
// value.
AtAnswer hot_swap(Module& module, const AtRequest& request)
{
    constexpr int PROFILE = 50;
    if (request.number(0) != PROFILE) {
        return bad_value();
    }
    if (request.args.size() == 1) {
        return AtAnswer::line("+UDCONF: 50," + module.nvm().get("udconf.50"));
    }
    const auto value = request.number(1, 0, 1);
    if (!value) {
        return bad_value();
    }
    module.nvm().set("udconf.50", std::to_string(*value));
    return AtAnswer::ok();
}

AtAnswer list_pins(Module& module)
{
    AtAnswer answer = AtAnswer::line("+UGPIOC:");
    constexpr std::string_view PREFIX = "gpio.";
    for (const auto& [key, value] : module.nvm().values()) {
        if (key.starts_with(PREFIX)) {
            answer.lines.push_back(key.substr(PREFIX.size()) + "," + value.substr(0, value.find(',')));
        }
    }
    return answer;
}

// +UGPIOC=<id>,<mode>[,<level>]. A SARA's switch moves at once; a TOBY looks at it when it starts.
AtAnswer configure_pin(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        return list_pins(module);
    }
    const auto id = request.number(0);
    const auto mode = request.number(1, 0, MAX_GPIO_MODE);
    const auto level = request.has(2) ? request.number(2, 0, 1) : 0;
    if (!id || !mode || !level || !module.nvm().values().contains(Nvm::gpio_key(*id))) {
        return bad_value();
    }
    module.nvm().set(Nvm::gpio_key(*id), *mode == 0 ? "0," + std::to_string(*level) : std::to_string(*mode));
    const bool moved = *id == module.sim_switch_pin() && module.switched_slot() != module.sims().selected();
    if (moved && module.family() == Family::SARA) {
        module.sims().select(module.switched_slot());
    }
    return AtAnswer::ok();
}

// SARA firmware answers with the prefix "+UGPIO:", TOBY with "+UGPIOR:". Only a pin set up as an input can be
// read.
AtAnswer read_pin(Module& module, const AtRequest& request)
{
    const auto id = request.number(0);
    if (!id || !module.nvm().values().contains(Nvm::gpio_key(*id))) {
        return bad_value();
    }
    const auto& setting = module.nvm().get(Nvm::gpio_key(*id));
    const bool output = setting.starts_with("0,");
    if (!output && setting != "1") {
        return not_allowed();
    }
    int level = output && setting == "0,1" ? 1 : 0;
    if (*id == module.sim_detect_pin() && !output) {
        level = module.sims().card(Slot::EXTERNAL).present ? 1 : 0;
    }
    const std::string prefix = module.family() == Family::SARA ? "+UGPIO: " : "+UGPIOR: ";
    return AtAnswer::line(prefix + std::to_string(*id) + "," + std::to_string(level));
}

// +URAT=<AcT>[,<preferred>]; refused while registered, takes effect at the next restart.
AtAnswer access_technology(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        return AtAnswer::line("+URAT: " + module.nvm().get("urat"));
    }
    const int highest = module.family() == Family::SARA ? 2 : 6;
    const auto selected = request.number(0, 0, highest);
    const auto preferred = request.has(1) ? request.number(1, 0, highest) : selected;
    if (!selected || !preferred) {
        return bad_value();
    }
    if (module.network().registered()) {
        return not_allowed();
    }
    module.nvm().set("urat", std::to_string(*selected) + "," + std::to_string(*preferred));
    return AtAnswer::ok();
}

AtAnswer functionality(Module& module, const AtRequest& request)
{
    constexpr int RESET = 15;
    constexpr int RESET_WITH_SIM = 16;
    if (request.form == Form::READ) {
        const auto level = std::to_string(module.session().cfun);
        return AtAnswer::line("+CFUN: " + level + (module.family() == Family::SARA ? ",0" : ""));
    }
    const int level = request.number(0).value_or(-1);
    if (level == RESET || level == RESET_WITH_SIM) {
        return {.lines = {}, .error_text = {}, .afterwards = [&module] { module.begin_restart(); }};
    }
    if (level != 0 && level != 1 && level != 4) {
        return bad_value();
    }
    module.session().cfun = level;
    module.update_radio();
    return AtAnswer::ok();
}

bool is_address(const std::string& text)
{
    return std::count(text.begin(), text.end(), '.') == 3 &&
           text.find_first_not_of("0123456789.") == std::string::npos;
}

// +UIPCONF="<router>","<mask>","<pool start>","<pool end>"[,...]; the IPv6 part that it also answers cannot
// be set.
AtAnswer usb_addresses(Module& module, const AtRequest& request)
{
    constexpr std::size_t ADDRESSES = 4;
    if (request.form == Form::READ) {
        return AtAnswer::line("+UIPCONF: " + module.nvm().get("uipconf") +
                              R"(,"fe80::48a5:b2ff:fe28:9fe5/64")");
    }
    std::string text;
    for (std::size_t index = 0; index < ADDRESSES; ++index) {
        if (!is_address(request.argument(index))) {
            return bad_value();
        }
        text += (index == 0 ? "\"" : ",\"") + request.argument(index) + "\"";
    }
    module.nvm().set("uipconf", text);
    return AtAnswer::ok();
}

AtAnswer power_off(Module& module, const AtRequest& request)
{
    if (request.form != Form::EXECUTE) {
        return bad_value();
    }
    return {.lines = {}, .error_text = {}, .afterwards = [&module] { module.begin_switch_off(); }};
}

constexpr std::array ROWS{
    CommandRow{"+UUSBCONF", BOTH, &usb_profile, 3, R"((0-3),("","ECM","RNDIS"))"},
    CommandRow{"+UBMCONF", TOBY_ONLY, &bridge_mode, 3, "(1,2)"},
    CommandRow{"+UDCONF", BOTH, &hot_swap, 1, "50,(0-1)"},
    CommandRow{"+UGPIOC", BOTH, &configure_pin, 2},
    CommandRow{"+UGPIOR", BOTH, &read_pin},
    CommandRow{"+URAT", BOTH, &access_technology, 5, "(0-6),(0-6)"},
    CommandRow{"+CFUN", BOTH, &functionality, 20, "(0,1,4,15,16),(0-1)"},
    CommandRow{"+UIPCONF", TOBY_ONLY, &usb_addresses, 3},
    CommandRow{"+CPWROFF", BOTH, &power_off},
};

} // namespace

std::span<const CommandRow> config_commands()
{
    return ROWS;
}

} // namespace bench
