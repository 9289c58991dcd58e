#include "support/log_capture.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/var/variables_client.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace ecu::kova::var;
using namespace std::chrono_literals;

constexpr auto VARIABLES = "/etc/vexa/ecu_variables.conf";
constexpr auto PARAMETERS = "/etc/vexa/system_parameters.conf";

TEST(EcuVariables, AReadWaitsForTheVariableToAppearButNoLongerThanAllowed)
{
    const TempRoot root;
    const auto variables = create_var_client();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(variables->get("hasintsim", "absent", 0ms), "absent");
    EXPECT_EQ(variables->get("hasintsim", "absent", 50ms), "absent");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);

    std::thread platform([&] {
        std::this_thread::sleep_for(50ms);
        root.write(VARIABLES, "hwvariant = QBX2\nhasintsim = 1\n");
    });
    EXPECT_EQ(variables->get("hasintsim", "absent", 1h), "1");
    platform.join();
}

TEST(EcuVariables, AChangeIsSeenWithoutQuotesAndABrokenLineIsToldOfOnce)
{
    const TempRoot root;
    const LogCapture log;
    const auto variables = create_var_client();
    root.write(VARIABLES, "\xef\xbb\xbfhwvariant = QBX2\r\nnonsense\r\ndivantenna = NONE\r\n");
    EXPECT_EQ(variables->get("divantenna", "", 0ms), "NONE");
    EXPECT_EQ(variables->get("hwvariant", "", 0ms), "QBX2");
    EXPECT_EQ(log.count("line 2"), 1U) << log;
    root.write(VARIABLES, "hwvariant = RMX\nhasintsim = \"false\"\r\nmodemtype = \"\n");
    EXPECT_EQ(variables->get("hwvariant", "", 0ms), "RMX");
    EXPECT_EQ(variables->get("hasintsim", "", 0ms), "false");
    EXPECT_EQ(variables->get("modemtype", "", 0ms), "\"");
    std::string broken;
    for (int line = 0; line < 70; ++line) {
        broken += "nonsense\n";
    }
    root.write(VARIABLES, broken);
    EXPECT_EQ(variables->get("hwvariant", "gone", 0ms), "gone");
    EXPECT_EQ(log.count("skipped"), 64U) << "a file that is broken all over does not fill the log";
}

TEST(EcuVariables, AnAbsentOneSaysWhatIsWrongWithTheFile)
{
    const TempRoot root;
    const auto variables = create_var_client();
    const std::string path = root.path(VARIABLES).string();
    EXPECT_EQ(variables->absence("hwvariant"), path + " is missing");
    root.write(VARIABLES, "hwversion = qbx\n");
    EXPECT_EQ(variables->absence("hwvariant"), path + " has no value for it");
    root.remove(VARIABLES);
    std::filesystem::create_directory(path);
    EXPECT_EQ(variables->absence("hwvariant"), path + " is a directory");
    EXPECT_EQ(variables->get("hwvariant", "gone", 0ms), "gone");
    root.remove(VARIABLES);
    ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR), 0);
    EXPECT_EQ(variables->absence("hwvariant"), path + " is no file");
}

TEST(SystemParameters, TheFormOfTheValueDecidesBetweenTextAndNumber)
{
    const TempRoot root;
    const auto parameters = create_sysparams_client();
    EXPECT_FALSE(parameters->get(8231));
    using Number = std::optional<std::int64_t>;
    for (const auto& [value, text, number] : std::vector<std::tuple<const char*, const char*, Number>>{
             {"\"internet\"", "internet", std::nullopt},
             {"-12", "-12", -12},
             {"12 ohm", "12 ohm", std::nullopt},
             {"99999999999999999999", "99999999999999999999", std::nullopt},
             {"0815", "0815", 815}, // a password of digits keeps them all
             {"\"\"", "", std::nullopt},
         }) {
        root.write(PARAMETERS, "\xef\xbb\xbf"
                               "8231 = " +
                                   std::string(value) + "\r\n4294967296 = 5\r\n");
        const auto entry = parameters->get(8231);
        ASSERT_TRUE(entry) << value;
        EXPECT_EQ(entry->text(), text) << value;
        EXPECT_EQ(entry->has_number() ? std::optional(entry->number()) : std::nullopt, number) << value;
    }
    EXPECT_FALSE(parameters->get(0)) << "an id above 32 bits is no parameter";
}

} // namespace
