#include "../com/mqtt_session.hpp"
#include "key_value_lines.hpp"

#include <ecu/kova/config/configuration.hpp>
#include <ecu/kova/logging.hpp>

#include <charconv>

namespace ecu::kova::config {

namespace {

logging::Module& logger()
{
    static auto& own = logging::module("kova.config");
    return own;
}

bool is_port(const std::string& text)
{
    constexpr unsigned HIGHEST_PORT = 65535;
    unsigned port = 0;
    const auto* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    return error == std::errc{} && rest == end && port >= 1 && port <= HIGHEST_PORT;
}

} // namespace

std::string Configuration::get(const std::string& key) const
{
    if (const auto found = values_.find(key); found != values_.end()) {
        return found->second;
    }
    const auto fallback = defaults_.find(key);
    return fallback == defaults_.end() ? std::string() : fallback->second;
}

bool Configuration::is_set(const std::string& key) const
{
    return values_.count(key) != 0;
}

bool Configuration::has(const std::string& key) const
{
    return is_set(key) || defaults_.count(key) != 0;
}

std::vector<std::string> Configuration::keys() const
{
    std::vector<std::string> keys;
    for (const auto& [key, value] : values_) {
        keys.push_back(key);
    }
    return keys;
}

void Configuration::set(const std::string& key, const std::string& value)
{
    values_[key] = value;
}

void Configuration::set_default(const std::string& key, const std::string& value)
{
    defaults_[key] = value;
}

bool Configuration::verify() const
{
    bool good = true;
    if (has("port") && !is_port(get("port"))) {
        logger().error("port: '", get("port"), "' is not a number from 1 to 65535");
        good = false;
    }
    if (get("client_name").empty()) {
        logger().error("client_name: must not be empty");
        good = false;
    } else if (!com::is_client_id(get("client_name"))) {
        logger().error("client_name: '", get("client_name"),
                       "' is no MQTT client id: UTF-8 without control characters, 65535 bytes at most");
        good = false;
    }
    if (is_set("host") && get("host").empty()) {
        logger().error("host: must not be empty where it is set");
        good = false;
    }
    return good;
}

void set_config_from_input(Configuration& configuration, std::istream& input, const std::string& source)
{
    read_key_value_lines(
        input, [&](const std::string& key, const std::string& value) { configuration.set(key, value); },
        [&](const std::string& text) -> bool { throw ConfigurationError(source + ": " + text); });
}

} // namespace ecu::kova::config
