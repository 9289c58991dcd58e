#include "main/configuration_defaults.hpp"
#include "modem/unit_settings.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

namespace {

namespace pb = ecu::kova::pb;

class UnitSettingsOf : public ::testing::Test {
protected:
    /// A parameter of the system; a number where it is all digits.
    void parameter(std::uint32_t id, const std::string& value)
    {
        auto& entry = parameters[id];
        entry.set_id(id);
        value.find_first_not_of("0123456789") == std::string::npos ? entry.set_number(std::stoll(value))
                                                                   : entry.set_text(value);
    }

    UnitSettings read()
    {
        register_defaults(configuration);
        asked.clear();
        return read_unit_settings({configuration,
                                   [this](std::uint32_t id) -> UnitSources::Parameter {
                                       const auto found = parameters.find(id);
                                       return found == parameters.end() ? std::nullopt
                                                                        : std::optional(found->second);
                                   },
                                   [this](const char* name, auto patience) {
                                       asked += name + std::string(patience ? " " : " for ever ");
                                       return variables[name];
                                   },
                                   [this] {
                                       asked += "board ";
                                       return board_works;
                                   }});
    }

    static std::string access(const SimConfiguration& sim)
    {
        return sim.apn + ' ' + sim.user + ' ' + sim.password;
    }

    LogCapture log;
    ecu::kova::config::Configuration configuration;
    std::map<std::uint32_t, pb::SystemParameterEntry> parameters;
    std::map<std::string, std::string> variables{{"hwvariant", "RMX1"},
                                                 {"modemtype", "TOBY"},
                                                 {"hasintsim", "true"},
                                                 {"hasextsim", "true"},
                                                 {"divantenna", "NONE"}};
    bool board_works = true;
    std::string asked;
};

} // namespace

TEST_F(UnitSettingsOf, TheFileBeatsTheParametersWhichStandInForWhatItLeavesOut)
{
    for (const std::uint32_t id : {8231U, 8232U, 8233U, 41074U, 41075U}) {
        parameter(id, "parameter " + std::to_string(id));
    }
    parameter(41076, "1234"); // digits are a password too
    auto unit = read();
    EXPECT_EQ(access(unit.internal_sim), "parameter 8231 parameter 8232 parameter 8233");
    EXPECT_EQ(access(unit.external_sim), "parameter 41074 parameter 41075 1234");
    EXPECT_EQ(asked, "hwvariant for ever hasintsim hasextsim board modemtype for ever divantenna ");
    for (const std::string sim : {"internal", "external"}) {
        for (const char* key : {"apn", "user", "password"}) {
            configuration.set("sim." + sim + '.' + key, sim + '-' + key);
        }
    }
    unit = read();
    EXPECT_EQ(access(unit.internal_sim), "internal-apn internal-user internal-password");
    EXPECT_EQ(access(unit.external_sim), "external-apn external-user external-password");
}

TEST_F(UnitSettingsOf, TheBoardsVariantDecidesWhatIsHeeded)
{
    parameter(41060, "1");
    for (const auto& [id, value] :
         {std::pair{41024U, "20"}, {41025U, "40"}, {41026U, "30"}, {41027U, "60"}}) {
        parameter(id, value);
    }
    const auto seen = [this] {
        const auto unit = read();
        return std::vector{unit.off_by_parameter, unit.sim_lock_active_high, unit.router_mode,
                           unit.antenna_limits.max == 40};
    };
    EXPECT_EQ(seen(), (std::vector{false, false, false, true}));
    parameters.erase(41060); // an order is one that is not there
    EXPECT_EQ(seen(), (std::vector{true, false, false, true}));
    variables["hwvariant"] = "QBX3_1";
    variables["divantenna"] = "EXTERNAL_R07";
    configuration.set("routermode", "no"); // anything but "false" is on
    EXPECT_EQ(seen(), (std::vector{false, true, true, false}));
    configuration.set("routermode", "false");
    EXPECT_EQ(seen(), (std::vector{false, true, false, false}));
}

TEST_F(UnitSettingsOf, TheAntennasKeysAreTakenAllOrNone)
{
    configuration.set("antenna.rssi_threshold", "-17");
    configuration.set("antenna.force_check_interval", "19");
    for (const auto& [frequency, taken] : {std::pair{"18", std::tuple{-17, 18, 19}}, {"0", {10, 10, 3}}}) {
        configuration.set("antenna.frequency", frequency);
        const auto antenna = read().antenna;
        EXPECT_EQ(std::tuple(antenna.rssi_threshold, antenna.frequency_s, antenna.force_check_interval),
                  taken);
    }
}

TEST_F(UnitSettingsOf, KeepsOneSimUsableWhoeverDeniesBoth)
{
    configuration.set("sim.internal.state", "disable");
    configuration.set("sim.external.state", "disable");
    variables["hasintsim"] = "";
    variables["hasextsim"] = "";
    EXPECT_EQ(read().internal_sim.state, defs::SimState::ENABLE);
    configuration.set("sim.internal.state", "auto");
    variables["hasintsim"] = "false";
    EXPECT_EQ(read().internal_sim.state, defs::SimState::ENABLE);
    configuration.set("sim.internal.state", "sometimes");
    variables["hasintsim"] = "";
    EXPECT_EQ(read().internal_sim.state, defs::SimState::AUTO);
    EXPECT_EQ(log.count("Unable to parse sometimes to valid state assuming: auto"), 1U);
}

TEST_F(UnitSettingsOf, NamesTheKnownValuesWhereOneIsUnknown)
{
    read();
    EXPECT_EQ(log.count("which is none of"), 0U);
    variables["modemtype"] = "LARA";
    variables["divantenna"] = "EXTERNAL_R08";
    variables["hasextsim"] = "no"; // enables it: only one word disables
    const auto unit = read();
    EXPECT_TRUE(unit.modem_fitted);
    EXPECT_EQ(unit.external_sim.state, defs::SimState::ENABLE);
    EXPECT_EQ(log.count("ECU variable hasextsim is 'no', which is none of true, false"), 1U);
    EXPECT_EQ(log.count("ECU variable modemtype is 'LARA', which is none of SARA, TOBY, NONE"), 1U);
    EXPECT_EQ(log.count("divantenna is 'EXTERNAL_R08', which is none of INTERNAL_R08, EXTERNAL_R07, "), 1U);
}

TEST_F(UnitSettingsOf, StopsReadingWhereTheBoardFails)
{
    board_works = false;
    const auto unit = read();
    EXPECT_FALSE(unit.board_ready);
    EXPECT_TRUE(asked.ends_with("board ")) << asked;
}
