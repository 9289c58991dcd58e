#include "support/log_capture.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/var/variables_client.hpp>
#include <gtest/gtest.h>

#include <chrono>
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
    auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(variables->get("hasintsim", "absent", 0ms), "absent");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 100ms);
    EXPECT_EQ(variables->get("hasintsim", "absent", 300ms), "absent");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);

    std::thread platform([&] {
        std::this_thread::sleep_for(50ms);
        root.write(VARIABLES, "hwvariant = QBX2\nhasintsim = 1\n");
    });
    begin = std::chrono::steady_clock::now();
    EXPECT_EQ(variables->get("hasintsim", "absent", 10s), "1");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    platform.join();
}

TEST(EcuVariables, AChangeIsSeenAndABrokenLineIsToldOfOnce)
{
    const TempRoot root;
    const LogCapture log;
    const auto variables = create_var_client();
    root.write(VARIABLES, "hwvariant = QBX2\nnonsense\ndivantenna = NONE\n");
    EXPECT_EQ(variables->get("divantenna", "", 0ms), "NONE");
    EXPECT_EQ(variables->get("hwvariant", "", 0ms), "QBX2");
    EXPECT_EQ(log.count("line 2"), 1U) << log;
    root.write(VARIABLES, "hwvariant = RMX\n");
    EXPECT_EQ(variables->get("hwvariant", "", 0ms), "RMX");
    std::filesystem::remove(root.path(VARIABLES));
    std::filesystem::create_directory(root.path(VARIABLES));
    EXPECT_EQ(variables->get("hwvariant", "gone", 0ms), "gone");
}

TEST(SystemParameters, TheFormOfTheValueDecidesBetweenTextAndNumber)
{
    const TempRoot root;
    const auto parameters = create_sysparams_client();
    EXPECT_FALSE(parameters->get(8231));
    root.write(PARAMETERS, "8231 = \"internet\"\n41024 = -12\n41025 = \"100\"\n41026 = 12 ohm\n"
                           "41027 = 99999999999999999999\n41060 = 0\n8232 = \"\n4294967296 = 5\n");
    EXPECT_EQ(parameters->get(8231)->text(), "internet");
    EXPECT_FALSE(parameters->get(8231)->has_number());
    EXPECT_EQ(parameters->get(41024)->number(), -12);
    EXPECT_FALSE(parameters->get(41024)->has_text());
    EXPECT_EQ(parameters->get(41025)->text(), "100");
    EXPECT_EQ(parameters->get(41026)->text(), "12 ohm");
    EXPECT_EQ(parameters->get(41027)->text(), "99999999999999999999");
    EXPECT_TRUE(parameters->get(41060)->has_number());
    EXPECT_EQ(parameters->get(8232)->text(), "\"");
    EXPECT_FALSE(parameters->get(0)) << "an id above 32 bits is no parameter";
}

} // namespace
