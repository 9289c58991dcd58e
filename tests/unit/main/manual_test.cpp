#include "main/configuration_defaults.hpp"
#include "main/slips.hpp"
#include "modem/modem_limits.hpp"
#include "modem/unit_settings.hpp"
#include "modem/unit_words.hpp"
#include "support/source_tree.hpp"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

// celld.conf(5) has every key of the three files, none besides, and the defaults that count; the sample
// likewise.

namespace {

using ecu::kova::config::Configuration;

/// The page's entries: what stands at the margin in bold, and the text below it. An entry may have several
/// keys.
std::map<std::string, std::string> entries()
{
    std::istringstream page(read_text(CELLD_SOURCE_DIR "/packaging/celld.conf.5"));
    std::map<std::string, std::string> all;
    std::vector<std::string> keys;
    std::string previous;
    for (std::string line; std::getline(page, line); previous = line) {
        if (previous == ".TP" && line.rfind(".B", 0) == 0) {
            keys = all_found(line.substr(line.find(' ')), "[a-z0-9][a-z0-9_.]*");
        } else if (line == ".TP" || line.rfind(".SH", 0) == 0) {
            keys.clear();
        }
        for (const auto& key : keys) {
            all[key] += line + '\n';
        }
    }
    return all;
}

/// What is asked for when the settings are read, nothing of the unit being there, and the default that
/// counts.
std::map<std::string, std::string> keys_and_defaults()
{
    Configuration configuration;
    std::map<std::string, std::string> all;
    for (const auto& variable : unit_variables()) {
        all[variable.name];
    }
    read_unit_settings({configuration,
                        [&](std::uint32_t id) {
                            all[std::to_string(id)];
                            return std::nullopt;
                        },
                        [](const char* name, auto) { return name == std::string("hwvariant") ? "RMX" : ""; },
                        [] { return true; }});
    register_defaults(configuration);
    for (const char* key : known_keys()) {
        all[key] = configuration.get(key);
    }
    for (const auto& limit : limit_keys()) {
        all[limit.key] = std::to_string(ModemLimits().*limit.limit);
    }
    return all;
}

} // namespace

TEST(ConfigurationManual, HasEveryKeyThatIsReadWithItsDefaultAndNoOther)
{
    const auto known = keys_and_defaults();
    const auto written = entries();
    std::size_t told = 0;
    for (const auto& [key, text] : written) {
        ASSERT_EQ(known.count(key), 1U) << key;
        const auto value = known.at(key);
        told += value.empty() ? 0 : 1;
        EXPECT_NE(text.find(value.empty() ? "" : "Default: " + value + "."), std::string::npos) << key;
    }
    EXPECT_EQ(written.size(), known.size());
    EXPECT_GT(told, 12U);
}

TEST(ConfigurationSample, HasKeysThatAreReadAndTheirDefaults)
{
    const auto known = keys_and_defaults();
    const auto lines =
        all_found(read_text(CELLD_SOURCE_DIR "/packaging/celld.conf.sample"), "\n#([a-z_.]+ =[^\n]*)");
    EXPECT_GT(lines.size(), 25U);
    for (const auto& line : lines) {
        const auto key = line.substr(0, line.find(' '));
        ASSERT_EQ(known.count(key), 1U) << line;
        EXPECT_TRUE(known.at(key).empty() || line == key + " = " + known.at(key)) << line;
    }
}
