#include "main/configuration_defaults.hpp"
#include "main/slips.hpp"
#include "modem/modem_limits.hpp"
#include "modem/unit_settings.hpp"
#include "modem/unit_words.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

// celld.conf(5) has every key of the three files, none besides, and the defaults that count.

namespace {

using ecu::kova::config::Configuration;

/// The page's entries: what stands at the margin in bold, and the text below it. An entry may have several
/// keys.
std::map<std::string, std::string> entries()
{
    std::ifstream page(CELLD_SOURCE_DIR "/packaging/celld.conf.5");
    std::map<std::string, std::string> all;
    std::vector<std::string> keys;
    std::string previous;
    for (std::string line; std::getline(page, line); previous = line) {
        if (line == ".TP" || line.rfind(".SH", 0) == 0) {
            keys.clear();
        } else if (previous == ".TP") {
            static const std::regex name(R"([a-z0-9][a-z0-9_.]*)");
            const std::string tag = line.rfind(".B", 0) == 0 ? line.substr(line.find(' ')) : "";
            for (std::sregex_iterator at(tag.begin(), tag.end(), name), none; at != none; ++at) {
                keys.push_back(at->str());
                all[keys.back()];
            }
        }
        for (const auto& key : keys) {
            all[key] += line + '\n';
        }
    }
    return all;
}

/// What is asked for when the settings are read: nothing of the unit is there.
std::set<std::string> keys_that_are_read()
{
    std::set<std::string> keys(known_keys().begin(), known_keys().end());
    for (const auto& variable : unit_variables()) {
        keys.insert(variable.name);
    }
    const Configuration configuration;
    read_unit_settings({configuration,
                        [&](std::uint32_t id) {
                            keys.insert(std::to_string(id));
                            return std::nullopt;
                        },
                        [](const char* name, auto) { return name == std::string("hwvariant") ? "RMX" : ""; },
                        [] { return true; }});
    return keys;
}

std::map<std::string, std::string> defaults()
{
    Configuration configuration;
    register_defaults(configuration);
    std::map<std::string, std::string> all;
    for (const char* key : known_keys()) {
        all[key] = configuration.get(key);
    }
    for (const auto& limit : limit_keys()) {
        all[limit.key] = std::to_string(ModemLimits().*limit.limit);
    }
    return all;
}

} // namespace

TEST(ConfigurationManual, HasEveryKeyThatIsReadAndNoOther)
{
    std::set<std::string> written;
    for (const auto& [key, text] : entries()) {
        written.insert(key);
    }
    EXPECT_EQ(written, keys_that_are_read());
}

TEST(ConfigurationManual, SaysTheDefaults)
{
    auto written = entries();
    std::size_t told = 0;
    for (const auto& [key, value] : defaults()) {
        told += value.empty() ? 0 : 1;
        const auto wanted = "Default: " + (value.empty() ? value : value + ".");
        EXPECT_NE(written[key].find(wanted), std::string::npos) << key << ": " << wanted;
    }
    EXPECT_GT(told, 12U);
}
