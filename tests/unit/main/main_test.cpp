#include "main/command_line.hpp"
#include "main/configuration_defaults.hpp"
#include "main/logging_setup.hpp"
#include "support/log_capture.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/logging.hpp>
#include <gtest/gtest.h>

#include <filesystem>
#include <getopt.h>
#include <sys/stat.h>

namespace logging = ecu::kova::logging;

namespace {

bool parse(std::vector<std::string> words, CommandLineOptions& options)
{
    words.insert(words.begin(), "celld");
    std::vector<char*> arguments;
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    optind = 0; // getopt(3): starts anew
    return parse_opts(static_cast<int>(words.size()), arguments.data(), options);
}

constexpr const char* CONFIGURATION = "/etc/vexa/celld.conf";

std::string configuration_fault()
{
    try {
        get_config();
    } catch (const ecu::kova::config::ConfigurationError& error) {
        return error.what();
    }
    return "accepted";
}

} // namespace

TEST(CommandLine, TakesTheLastWordAndKnowsItsActions)
{
    CommandLineOptions options;
    ASSERT_TRUE(parse({"-l", "DEBUG", "poweron", "connect"}, options));
    EXPECT_TRUE(options.loglevel_given);
    EXPECT_EQ(options.loglevel, "DEBUG");
    EXPECT_EQ(action_of(options.action), Modem::RunAction::CONNECT);
    EXPECT_EQ(action_of("whatever"), Modem::RunAction::RUN);
    EXPECT_FALSE(parse({"--help"}, options));
    EXPECT_FALSE(parse({"--nonsense"}, options));
}

TEST(ConfigurationFile, BeatsTheDefaultsAndMayBeMissing)
{
    TempRoot root;
    auto configuration = get_config();
    register_defaults(*configuration);
    EXPECT_EQ(configuration->get("sim.external.pin"), "5193");
    EXPECT_EQ(configuration->get("modem_restart_timeout"), "");
    root.write(CONFIGURATION, "sim.external.pin = 0000\n");
    configuration = get_config();
    register_defaults(*configuration);
    EXPECT_EQ(configuration->get("sim.external.pin"), "0000");
}

TEST(ConfigurationFile, AFaultNamesTheFileThatWasOpened)
{
    TempRoot root;
    const std::string path = root.path(CONFIGURATION).string();
    root.write(CONFIGURATION, "# fine\nno equals sign\n");
    EXPECT_EQ(configuration_fault(), path + ": line 2: no '=' in it");

    root.remove(CONFIGURATION);
    std::filesystem::create_directory(path);
    EXPECT_EQ(configuration_fault(), path + ": cannot be read: it is a directory");
    root.remove(CONFIGURATION);
    std::filesystem::create_symlink("celld.conf", path); // to itself
    EXPECT_EQ(configuration_fault(), path + ": cannot be read: Too many levels of symbolic links");
    root.remove(CONFIGURATION);
    ASSERT_EQ(::mkfifo(path.c_str(), S_IRUSR), 0);
    EXPECT_EQ(configuration_fault(), path + ": cannot be read: it is no file");
    root.remove(CONFIGURATION);
    EXPECT_EQ(configuration_fault(), "accepted") << "a missing one means the defaults";
}

TEST(LoggingSetUp, TheCommandLineBeatsTheFileAndAllComesFirst)
{
    LogCapture log;
    ecu::kova::config::Configuration configuration;
    configuration.set("logmodules", "celld.modem,all,celld.sim");
    configuration.set("logmode", "printer");
    configuration.set("loglevel", "DEBUG");
    CommandLineOptions options;
    set_up_logging(configuration, options);
    EXPECT_EQ(log.count("logmode from config 'printer' not recognized"), 1U);
    EXPECT_EQ(logging::get_log_level(), logging::Level::DEBUG);
    EXPECT_TRUE(logging::module("celld.atport").wants(logging::Level::DEBUG));

    options.loglevel_given = true;
    options.loglevel = "WARNING";
    options.log_to_stdout = true;
    log.clear();
    set_up_logging(configuration, options);
    EXPECT_EQ(logging::get_log_level(), logging::Level::WARNING);
    EXPECT_EQ(log.count("not recognized"), 0U);
}
