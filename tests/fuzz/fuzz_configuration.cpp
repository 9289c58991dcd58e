#include <ecu/kova/config/configuration.hpp>
#include <ecu/kova/logging.hpp>

#include <cstddef>
#include <cstdint>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ecu::kova::logging::configure_logging("EMERG");
    std::istringstream input(std::string(data, data + size));
    ecu::kova::config::Configuration configuration;
    try {
        ecu::kova::config::set_config_from_input(configuration, input, "fuzz");
    } catch (const ecu::kova::config::ConfigurationError&) {
        return 0; // a broken line, named
    }
    static_cast<void>(configuration.verify());
    return 0;
}
