#include "main/configuration_defaults.hpp"
#include "modem/unit_settings.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/log_tap.hpp>
#include <ecu/kova/var/variables_client.hpp>

#include <cstddef>
#include <cstdint>
#include <sstream>

namespace {

using namespace ecu::kova;

config::Configuration configuration_of(const std::string& text)
{
    config::Configuration configuration;
    std::istringstream input(text);
    try {
        config::set_config_from_input(configuration, input, "fuzz");
    } catch (const config::ConfigurationError&) {
        // a broken line, named; what stands before it counts here
    }
    register_defaults(configuration);
    return configuration;
}

} // namespace

/// The three files that say what a unit is, in one input, with a zero byte between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const TempRoot root;
    logging::set_tap([](void*, auto, const auto&, const auto&) {}, nullptr);
    std::istringstream input(std::string(data, data + size));
    std::string text;
    std::getline(input, text, '\0');
    const auto configuration = configuration_of(text);
    for (const char* file : {"/etc/vexa/ecu_variables.conf", "/etc/vexa/system_parameters.conf"}) {
        std::getline(input, text, '\0');
        root.write(file, input ? text : "");
    }
    const auto parameters = var::create_sysparams_client();
    const auto variables = var::create_var_client();
    static_cast<void>(read_unit_settings(
        {configuration, [&](std::uint32_t id) { return parameters->get(id); },
         [&](const char* name, auto) { return variables->get(name, "", std::chrono::milliseconds(0)); },
         [] { return true; }}));
    return 0;
}
