#include "modem/unit_words.hpp"

#include "gpio/gpio_ctrl.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::array MODEM_TYPES{"SARA", "TOBY", "NONE"};
constexpr std::array TRUTHS{"true", "false"};
constexpr std::array ANTENNA_FITTINGS{"INTERNAL_R08", "EXTERNAL_R07", "INTERNAL_R07", "NONE"};

} // namespace

std::span<const UnitVariable> unit_variables()
{
    static const std::array VARIABLES{
        UnitVariable{"hwversion", GpioCtrl::hardware_versions(),
                     "a minute is waited for it, and the pins are those of QBX and RMX", false},
        UnitVariable{"hwvariant", {}, "celld waits for it for ever", true},
        UnitVariable{"hasintsim", TRUTHS, "5 s are waited for it, and the configuration decides", false},
        UnitVariable{"hasextsim", TRUTHS, "5 s are waited for it, and the configuration decides", false},
        UnitVariable{"modemtype", MODEM_TYPES, "celld waits for it for ever", true},
        UnitVariable{"divantenna", ANTENNA_FITTINGS, "a minute is waited for it, and one antenna assumed",
                     false},
    };
    return VARIABLES;
}

utils::Words unit_variable_values(const char* name)
{
    const auto all = unit_variables();
    const auto found = std::find_if(all.begin(), all.end(), [name](const auto& variable) {
        return std::string_view(variable.name) == name;
    });
    return found == all.end() ? utils::Words() : found->values;
}
