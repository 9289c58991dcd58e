#include "module/command_table.hpp"
#include "module/module.hpp"
#include "module/reports.hpp"

#include <algorithm>
#include <array>
#include <chrono>

namespace bench {
namespace {

/// A setting that is a list of numbers: how many must come, and the highest of each.
struct NumberSetting {
    std::string_view name;
    std::size_t least;
    std::vector<int> highest;
    std::vector<int> at_start;
};

const NumberSetting& setting_of(std::string_view name)
{
    static const std::array SETTINGS{
        NumberSetting{"+CREG", 1, {2}, {0}},
        NumberSetting{"+CGREG", 1, {2}, {0}},
        NumberSetting{"+CEREG", 1, {3}, {0}},
        NumberSetting{"+CGEREP", 1, {2, 1}, {0, 0}},
        NumberSetting{"+UREG", 1, {1}, {0}},
        NumberSetting{"+CMER", 1, {3, 0, 0, 2, 1}, {1, 0, 0, 0, 0}},
        NumberSetting{"+UCIND", 1, {4095}, {4095}},
        NumberSetting{"+UNFM", 1, {1, 1}, {0, 0}},
        NumberSetting{"+CPLS", 1, {2}, {0}},
    };
    return *std::find_if(SETTINGS.begin(), SETTINGS.end() - 1,
                         [name](const NumberSetting& setting) { return setting.name == name; });
}

const std::vector<int>& numbers_of(Module& module, const std::string& name)
{
    return module.session().numbers.try_emplace(name, setting_of(name).at_start).first->second;
}

std::string joined(const std::vector<int>& numbers)
{
    std::string text;
    for (const int number : numbers) {
        text += (text.empty() ? "" : ",") + std::to_string(number);
    }
    return text;
}

AtAnswer set_numbers(Module& module, const AtRequest& request)
{
    const auto& setting = setting_of(request.name);
    auto numbers = setting.at_start;
    if (request.form != Form::SET || request.args.size() < setting.least ||
        request.args.size() > numbers.size()) {
        return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
    }
    for (std::size_t index = 0; index < request.args.size(); ++index) {
        const auto number = request.number(index, 0, setting.highest[index]);
        if (!number && request.has(index)) {
            return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
        }
        numbers[index] = number.value_or(0);
    }
    module.session().numbers[request.name] = numbers;
    return AtAnswer::ok();
}

AtAnswer plain_setting(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        return AtAnswer::line(request.name + ": " + joined(numbers_of(module, request.name)));
    }
    return set_numbers(module, request);
}

AtAnswer registration(Module& module, const AtRequest& request, Network::Domain domain)
{
    if (request.form == Form::READ) {
        const int n = numbers_of(module, request.name).front();
        return AtAnswer::line(registration_line(module.network(), domain, n, true));
    }
    return set_numbers(module, request);
}

AtAnswer circuit_registration(Module& module, const AtRequest& request)
{
    return registration(module, request, Network::Domain::CS);
}

AtAnswer packet_registration(Module& module, const AtRequest& request)
{
    return registration(module, request, Network::Domain::PS);
}

AtAnswer eps_registration(Module& module, const AtRequest& request)
{
    return registration(module, request, Network::Domain::EPS);
}

AtAnswer extended_registration(Module& module, const AtRequest& request)
{
    if (request.form == Form::READ) {
        return AtAnswer::line("+UREG: " + joined(numbers_of(module, request.name)) + "," +
                              std::to_string(packet_state(module.network())));
    }
    return set_numbers(module, request);
}

// +UNFM: <mode>,<reports>,<CS>,<PS>,<PDP>,<SMS>; the four are the seconds that the back-off timers have left.
AtAnswer friendly_mode(Module& module, const AtRequest& request)
{
    if (request.form != Form::READ) {
        return set_numbers(module, request);
    }
    auto numbers = numbers_of(module, request.name);
    for (const auto end : module.session().backoff_ends) {
        const auto left = std::chrono::ceil<std::chrono::seconds>(end - module.timers().now());
        numbers.push_back(static_cast<int>(std::max<std::chrono::seconds::rep>(left.count(), 0)));
    }
    return AtAnswer::line("+UNFM: " + joined(numbers));
}

constexpr std::array ROWS{
    CommandRow{"+CREG", BOTH, &circuit_registration, 1, "(0-2)"},
    CommandRow{"+CGREG", BOTH, &packet_registration, 1, "(0-2)"},
    CommandRow{"+CEREG", TOBY_ONLY, &eps_registration, 1, "(0-3)"},
    CommandRow{"+CGEREP", BOTH, &plain_setting, 1, "(0-2),(0-1)"},
    CommandRow{"+UREG", BOTH, &extended_registration, 1, "(0-1)"},
    CommandRow{"+CMER", BOTH, &plain_setting, 1, "(0-3),(0),(0),(0-2),(0-1)"},
    CommandRow{"+UCIND", BOTH, &plain_setting, 1, "(0-4095)"},
    CommandRow{"+UNFM", SARA_ONLY, &friendly_mode, 3, "(0-1),(0-1)"},
    CommandRow{"+CPLS", BOTH, &plain_setting, 1, "(0-2)"},
};

} // namespace

std::span<const CommandRow> report_commands()
{
    return ROWS;
}

} // namespace bench
