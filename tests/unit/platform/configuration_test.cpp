#include "support/log_capture.hpp"

#include <ecu/kova/config/configuration.hpp>
#include <gtest/gtest.h>

#include <sstream>
#include <utility>

namespace {

using namespace ecu::kova::config;

Configuration read(const std::string& text)
{
    Configuration configuration;
    std::istringstream input(text);
    set_config_from_input(configuration, input, "celld.conf");
    return configuration;
}

std::string fault_of(const std::string& text)
{
    try {
        read(text);
    } catch (const ConfigurationError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(ConfigurationFile, TakesTheValueAsItStandsBehindTheFirstEquals)
{
    const auto configuration = read("\xef\xbb\xbf# a comment = no key\r\n"
                                    "\r\n"
                                    "  sim.internal.apn \t=  internet = \"x\"  \r\n"
                                    "host = first\n"
                                    "empty =\n"
                                    "  \n"
                                    "host=second");
    EXPECT_EQ(configuration.keys(), (std::vector<std::string>{"empty", "host", "sim.internal.apn"}));
    EXPECT_EQ(configuration.get("sim.internal.apn"), "internet = \"x\"");
    EXPECT_EQ(configuration.get("host"), "second");
    EXPECT_EQ(read("\xef\xbb\xbfhost = broker\n").get("host"), "broker");
    EXPECT_EQ(fault_of("a = 1\n\xef\xbb\xbf\n"), "celld.conf: line 2: no '=' in it") << "only in front";
}

TEST(ConfigurationFile, AFaultNamesTheFileAndTheLine)
{
    EXPECT_EQ(fault_of("a = 1\n\nport 1883\n"), "celld.conf: line 3: no '=' in it");
    EXPECT_EQ(fault_of("a = 1\n = 2"), "celld.conf: line 2: no key in front of '='");
    EXPECT_EQ(fault_of("a = 1\nb = " + std::string(70'000, 'x') + "\n"),
              "celld.conf: line 2: the line is too long");
    std::istringstream broken;
    broken.setstate(std::ios::badbit); // a device that fails
    Configuration nothing;
    EXPECT_THROW(set_config_from_input(nothing, broken, "celld.conf"), ConfigurationError);
    std::string endless;
    for (int line = 0; line < 20'000; ++line) {
        endless += "a = 1\n";
    }
    EXPECT_EQ(fault_of(endless), "celld.conf: line 16385: the file is too long");
}

TEST(Configuration, VerifyRefusesWhatNoBusClientCanUseAndSaysWhy)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"port = 65535\nhost = broker\n", ""},
        {"port = 65536\n", "port:"},
        {"port = 1883x\n", "port:"},
        {"port =\n", "port:"},
        {"client_name =\n", "client_name: must not be empty"}, // the default stands behind what was set
        {"client_name = Ger\xe4t 7\n", "client_name: 'Ger"},   // Latin-1
        {"client_name = a\tb\n", "client_name: 'a\\x09b' is no MQTT client id: UTF-8 without control"},
    };
    for (const auto& [text, complaint] : cases) {
        auto configuration = read(text);
        configuration.set_default("client_name", "celld");
        const LogCapture log;
        EXPECT_EQ(configuration.verify(), *complaint == '\0') << text;
        EXPECT_TRUE(*complaint == '\0' || log.contains(LogCapture::Level::ERROR, complaint)) << text << log;
    }
}

} // namespace
