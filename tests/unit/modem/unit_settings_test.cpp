#include "main/configuration_defaults.hpp"
#include "modem/unit_settings.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

#include <map>

namespace {

namespace pb = ecu::kova::pb;

/// A unit in which everything is set, each to a value of its own.
class UnitSettingsOf : public ::testing::Test {
protected:
    UnitSettingsOf()
    {
        const std::pair<const char*, const char*> keys[] = {
            {"sim.internal.apn", "int.apn"},
            {"sim.internal.user", "int.user"},
            {"sim.internal.password", "int.word"},
            {"sim.internal.state", "ENABLE"},
            {"sim.external.apn", "ext.apn"},
            {"sim.external.user", "ext.user"},
            {"sim.external.password", "ext.word"},
            {"sim.external.state", "auto"},
            {"sim.external.pin", "4711"},
            {"routermode", "no"}, // anything but "false" is on
            {"max_modem_reset", "11"},
            {"nw_search_reattach_timer", "12"},
            {"nw_search_modem_reset_timer", "13"},
            {"max_sim_errors", "14 and the rest is ignored"},
            {"max_modem_resets_before_dtc", "15"},
            {"modem_restart_timeout", "16"},
            {"antenna.rssi_threshold", "-17"},
            {"antenna.frequency", "18"},
            {"antenna.force_check_interval", "19"},
        };
        for (const auto& [key, value] : keys) {
            configuration.set(key, value);
        }
        for (const std::uint32_t id : {8231U, 8232U, 8233U, 41074U, 41075U}) {
            text(id, "parameter " + std::to_string(id));
        }
        number(41076, 1234); // digits are a password too
        number(41024, 20);
        number(41025, 40);
        number(41026, 30);
        number(41027, 60);
        number(41060, 1);
    }

    void text(std::uint32_t id, const std::string& value)
    {
        parameters[id].set_id(id);
        parameters[id].set_text(value);
    }
    void number(std::uint32_t id, std::int64_t value)
    {
        parameters[id].set_id(id);
        parameters[id].set_number(value);
    }

    UnitSettings read()
    {
        register_defaults(configuration);
        return read_unit_settings({configuration,
                                   [this](std::uint32_t id) -> UnitSources::Parameter {
                                       const auto found = parameters.find(id);
                                       return found == parameters.end() ? std::nullopt
                                                                        : std::optional(found->second);
                                   },
                                   [this](const char* name, auto patience) {
                                       asked.emplace_back(std::string(name) + (patience ? "" : " for ever"));
                                       return variables[name];
                                   },
                                   [this] {
                                       asked.emplace_back("board");
                                       return board_works;
                                   }});
    }

    /// One line that holds everything.
    static std::string all_of(const UnitSettings& unit)
    {
        const auto sim = [](const SimConfiguration& s) {
            return std::string(defs::to_str(s.state)) + ' ' + s.apn + ' ' + s.user + ' ' + s.password + ' ' +
                   s.pin + "; ";
        };
        const auto& l = unit.limits;
        std::string text = sim(unit.internal_sim) + sim(unit.external_sim) + unit.hardware_variant + ';';
        for (const long long n :
             {static_cast<long long>(unit.router_mode), static_cast<long long>(l.max_modem_reset),
              static_cast<long long>(l.nw_search_reattach_timer),
              static_cast<long long>(l.nw_search_modem_reset_timer), static_cast<long long>(l.max_sim_errors),
              static_cast<long long>(l.max_modem_resets_before_dtc),
              static_cast<long long>(l.modem_restart_timeout),
              static_cast<long long>(unit.antenna.rssi_threshold),
              static_cast<long long>(unit.antenna.frequency_s),
              static_cast<long long>(unit.antenna.force_check_interval),
              static_cast<long long>(unit.antenna_limits.min),
              static_cast<long long>(unit.antenna_limits.max),
              static_cast<long long>(unit.sim_lock_active_high), static_cast<long long>(unit.board_ready),
              static_cast<long long>(unit.off_by_parameter), static_cast<long long>(unit.modem_fitted)}) {
            text += ' ' + std::to_string(n);
        }
        return text;
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
    std::vector<std::string> asked;
};

struct Change {
    const char* name;
    std::map<std::string, std::string> keys;
    std::map<std::string, std::string> variables;
    std::vector<std::uint32_t> without; // parameters
    const char* from;                   // in the line that holds everything
    const char* to;
};

} // namespace

TEST_F(UnitSettingsOf, EveryKeyParameterAndVariableHasItsPlace)
{
    const std::string everything = all_of(read());
    EXPECT_EQ(everything, "enable int.apn int.user int.word ; enable ext.apn ext.user ext.word 4711; RMX1; "
                          "1 11 12 13 14 15 16 -17 18 19 20 40 0 1 0 1");
    EXPECT_EQ(asked, (std::vector<std::string>{"hwvariant for ever", "hasintsim", "hasextsim", "board",
                                               "modemtype for ever", "divantenna"}));

    for (const auto& c : std::vector<Change>{
             {"internal access from parameters",
              {{"sim.internal.apn", ""}, {"sim.internal.user", ""}, {"sim.internal.password", ""}},
              {},
              {},
              "int.apn int.user int.word",
              "parameter 8231 parameter 8232 parameter 8233"},
             {"external access from parameters",
              {{"sim.external.apn", ""}, {"sim.external.user", ""}, {"sim.external.password", ""}},
              {},
              {},
              "ext.apn ext.user ext.word",
              "parameter 41074 parameter 41075 1234"},
             {"nothing anywhere", {{"sim.external.user", ""}}, {}, {41075}, "ext.user", ""},
             {"router mode off", {{"routermode", "false"}}, {}, {}, "RMX1; 1", "RMX1; 0"},
             {"no modem", {}, {{"modemtype", "NONE"}}, {}, " 0 1 0 1", " 0 1 0 0"},
             {"ordered off", {}, {}, {41060}, " 0 1 0 1", " 0 1 1 1"},
             {"not heeded elsewhere", {}, {{"hwvariant", "QBX2"}}, {41060}, "RMX1", "QBX2"},
             {"lock level",
              {},
              {{"hwvariant", "QBX3_1"}},
              {},
              "RMX1; 1 11 12 13 14 15 16 -17 18 19 20 40 0",
              "QBX3_1; 1 11 12 13 14 15 16 -17 18 19 20 40 1"},
             {"two antennas", {}, {{"divantenna", "EXTERNAL_R07"}}, {}, " 20 40 ", " 12 24 "},
             {"board without internal SIM", {}, {{"hasintsim", "false"}}, {}, "enable int", "disable int"},
             {"board that does not say", {}, {{"hasextsim", ""}}, {}, "enable ext", "auto ext"},
             {"no limits, no default either way",
              {{"max_modem_reset", ""}, {"antenna.frequency", "0"}},
              {},
              {},
              "1 11 12 13 14 15 16 -17 18 19",
              "1 10 12 13 14 15 16 10 10 3"},
         }) {
        const auto configuration_before = configuration;
        const auto variables_before = variables;
        const auto parameters_before = parameters;
        for (const auto& [key, value] : c.keys) {
            configuration.set(key, value);
        }
        for (const auto& [name, value] : c.variables) {
            variables[name] = value;
        }
        for (const auto id : c.without) {
            parameters.erase(id);
        }
        std::string wanted = everything;
        wanted.replace(wanted.find(c.from), std::string(c.from).size(), c.to);
        EXPECT_EQ(all_of(read()), wanted) << c.name;
        configuration = configuration_before;
        variables = variables_before;
        parameters = parameters_before;
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
    EXPECT_EQ(asked.back(), "board");
    EXPECT_EQ(unit.limits.max_modem_reset, 11U);
}
