#include "main/command_line.hpp"
#include "main/configuration_defaults.hpp"
#include "main/hangup.hpp"
#include "main/instance_lock.hpp"
#include "main/logging_setup.hpp"
#include "main/slips.hpp"
#include "support/log_capture.hpp"
#include "support/source_tree.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/logging.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <getopt.h>
#include <set>
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

template <class Action>
std::string fault_of(Action action)
{
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

} // namespace

TEST(CommandLine, TakesTheLastWordAndKnowsItsActions)
{
    CommandLineOptions options;
    ASSERT_TRUE(parse({"-l", "DEBUG", "poweron", "connect"}, options));
    EXPECT_TRUE(options.loglevel_given);
    EXPECT_EQ(action_of(options.action), Modem::RunAction::CONNECT);
    EXPECT_EQ(action_of("whatever"), Modem::RunAction::RUN);
    EXPECT_EXIT(parse({"-v"}, options), ::testing::ExitedWithCode(0), "");
    EXPECT_FALSE(parse({"--help"}, options));
    EXPECT_FALSE(parse({"--nonsense"}, options));
}

TEST(ConfigurationFile, MayBeMissingAndAFaultNamesTheOneThatWasOpened)
{
    TempRoot root;
    const auto path = root.path(CONFIGURATION);
    root.write(CONFIGURATION, "");
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { root.write(CONFIGURATION, "# fine\nno equals sign\n"); }, ": line 2: no '=' in it"},
        {[&] { std::filesystem::create_directory(path); }, ": cannot be read: it is a directory"},
        {[&] { std::filesystem::create_symlink(path.filename(), path); },
         ": cannot be read: Too many levels of symbolic links"},
        {[&] { mkfifo(path.c_str(), S_IRUSR); }, ": cannot be read: it is no file"},
    };
    for (const auto& [make, fault] : cases) {
        root.remove(CONFIGURATION);
        make();
        EXPECT_EQ(fault_of(get_config), path.string() + fault);
    }
    root.remove(CONFIGURATION);
    auto configuration = get_config();
    register_defaults(*configuration);
    EXPECT_EQ(configuration->get("sim.external.pin"), "5193");
    root.write(CONFIGURATION, "sim.external.pin = 0000\n");
    configuration = get_config();
    register_defaults(*configuration);
    EXPECT_EQ(configuration->get("sim.external.pin"), "0000");
}

TEST(Slips, EachIsToldOnceWithTheNearestKnownWord)
{
    struct {
        const char* key;
        const char* value;
        std::string told;
    } const cases[] = {
        {"client-name", "x", "Unknown key in the configuration 'client-name', did you mean 'client_name'?"},
        {"sim.internal.pin", "1",
         "Unknown key in the configuration 'sim.internal.pin', did you mean 'sim.external.pin'?"},
        {"colour", "x", "Unknown key in the configuration 'colour'"},
        {"logmode", "STDOUT", "Unknown value of logmode 'STDOUT', did you mean 'stdout'?"},
        {"sim.external.state", "never", "Unknown value of sim.external.state 'never'"},
        {"sim.external.state", "Disable", ""},
        {"logmode", "", ""},
        {"logmodules", "celld.sim,celld.modm",
         "Unknown log module 'celld.modm', did you mean 'celld.modem'?"},
    };
    for (const auto& [key, value, told] : cases) {
        ecu::kova::config::Configuration configuration;
        register_defaults(configuration);
        configuration.set(key, value);
        const LogCapture log;
        warn_of_slips(configuration, {});
        EXPECT_EQ(log.records().size(), told.empty() ? 0U : 1U) << key << '\n' << log;
        EXPECT_EQ(log.contains(LogCapture::Level::WARNING, told), !told.empty()) << log;
    }
    const LogCapture log;
    for (const char* word : {"", "connect", "conect"}) {
        CommandLineOptions options;
        options.action = word;
        warn_of_slips({}, options);
    }
    EXPECT_EQ(log.records().size(), 1U) << log;
    EXPECT_EQ(log.count("Unknown word 'conect', did you mean 'connect'?"), 1U);
}

TEST(Slips, EveryLogModuleOfTheSourcesIsKnown)
{
    std::string all;
    for (const auto& [module, file] : found_in_the_sources("module\\(\"([a-z.]+)\"\\)")) {
        all += module + ',';
    }
    EXPECT_GT(all.size(), 200U);
    ecu::kova::config::Configuration configuration;
    configuration.set("logmodules", all);
    const LogCapture log;
    warn_of_slips(configuration, {});
    EXPECT_EQ(log.records().size(), 0U) << log;
}

TEST(InstanceLock, IsHeldByOneAndNamesIt)
{
    const TempRoot root;
    const LogCapture log;
    root.write("/run/celld.lock", "4194304999\n"); // left by one that was killed
    const auto second_fault = [] { return fault_of([] { InstanceLock second; }); };
    const int free_descriptor = ::dup(STDIN_FILENO);
    ::close(free_descriptor);
    const std::string descriptor = "/proc/self/fd/" + std::to_string(free_descriptor);
    {
        const InstanceLock first;
        EXPECT_EQ(root.read("/run/celld.lock"), std::to_string(::getpid()) + '\n');
        EXPECT_EQ(second_fault(), "another celld is running, process " + std::to_string(::getpid()) + " (" +
                                      root.path("/run/celld.lock").string() + ")");
        EXPECT_EQ(second_fault().substr(0, 7), "another") << "the first one's lock outlives a refused one";
        EXPECT_EQ(std::filesystem::read_symlink(descriptor), root.path("/run/celld.lock"));
        EXPECT_NE(::fcntl(free_descriptor, F_GETFD) & FD_CLOEXEC, 0) << "a child would keep the lock";
    }
    EXPECT_EQ(second_fault(), "none");
    EXPECT_EQ(log.records().size(), 0U) << log;
}

TEST(InstanceLock, IsDoneWithoutWhereNoneCanBeMade)
{
    const TempRoot root;
    const LogCapture log;
    const InstanceLock no_folder;
    EXPECT_EQ(log.count("/run/celld.lock: No such file or directory (2)"), 1U) << log;
    std::filesystem::create_directories(root.path("/run/celld.lock"));
    const InstanceLock no_file;
    EXPECT_TRUE(log.contains(LogCapture::Level::WARNING, "/run/celld.lock: Is a directory (21)")) << log;
}

TEST(LoggingSetUp, TheCommandLineBeatsTheFile)
{
    LogCapture log(logging::Level::NOTICE);
    ecu::kova::config::Configuration configuration;
    configuration.set("loglevel", "DEBUG");
    configuration.set("logmode", "printer");
    LoggingSetup({}).set_up(configuration);
    EXPECT_EQ(log.count("logmode from config 'printer' not recognized"), 1U);
    EXPECT_EQ(logging::get_log_level(), logging::Level::DEBUG);

    CommandLineOptions options;
    ASSERT_TRUE(parse({"-l", "WARNING", "-L"}, options));
    log.clear();
    LoggingSetup(options).set_up(configuration);
    EXPECT_EQ(logging::get_log_level(), logging::Level::WARNING);
    EXPECT_EQ(logging::get_log_mode(), logging::LogMode::STDOUT);
    EXPECT_EQ(log.count("not recognized"), 0U);
    TempRoot root;
    root.write(CONFIGURATION, "loglevel = DEBUG\n");
    LoggingSetup(options).read_again();
    EXPECT_EQ(logging::get_log_level(), logging::Level::WARNING) << "the command line's stays";
}

TEST(Hangup, ReadsLevelAndModulesAgainOrKeepsThem)
{
    const std::set<std::string> all{"celld.sim", "celld.atport.raw", "celld.main"};
    TempRoot root;
    LogCapture log(logging::Level::NOTICE);
    struct {
        std::string file;
        std::string told;
        const char* level;
        std::set<std::string> wanted; // of those above, at DEBUG
    } const cases[] = {
        {"loglevel = INFO\nlogmodules = celld.main\nlogmode = stdout\n",
         "read again: log level INFO, log modules celld.main; other keys take a restart",
         "INFO",
         {"celld.main"}},
        {"loglevel = DEBUG\nlogmodules = celld.sim, celld.main\n",
         "log level DEBUG, log modules celld.main,celld.sim;",
         "DEBUG",
         {"celld.sim", "celld.main"}},
        {"loglevel = EMERG\nno equals sign\n",
         "Configuration not read again, log level and modules stay: " + root.path(CONFIGURATION).string() +
             ": line 2: no '=' in it",
         "DEBUG",
         {"celld.sim", "celld.main"}},
        {"loglevel = LOUD\nlogmodules = celld.simm\n",
         "Unknown log level 'LOUD', keeping DEBUG",
         "DEBUG",
         {}},
        {"loglevel = DEBUG\nlogmodules = all,celld.sim\n", "log level DEBUG, log modules all;", "DEBUG", all},
        {"", "log level NOTICE, log modules all;", "NOTICE", all},
    };
    root.write(CONFIGURATION, "loglevel = DEBUG\nlogmode = stderr\nlogmodules = celld.sim\n");
    LoggingSetup setup({});
    setup.set_up(*get_config());
    for (const auto& [file, told, level, wanted] : cases) {
        log.clear();
        root.write(CONFIGURATION, file);
        setup.read_again();
        EXPECT_EQ(log.count(told), 1U) << log;
        EXPECT_STREQ(logging::to_str(logging::get_log_level()), level);
        for (const auto& name : all) {
            logging::configure_logging("DEBUG");
            EXPECT_EQ(logging::module(name).wants(logging::Level::DEBUG), wanted.count(name) != 0)
                << name << " with " << file;
            logging::configure_logging(level);
        }
        EXPECT_EQ(logging::get_log_mode(), logging::LogMode::STDERR) << "the sink is none of its business";
    }
    logging::set_log_mode(logging::LogMode::SYSLOG);

    EXPECT_FALSE(hangup::has_come());
    hangup::hold(); // or it would end the test
    for (const bool comes : {true, false, true}) {
        if (comes) {
            raise(SIGHUP);
            raise(SIGHUP);
        }
        EXPECT_EQ(hangup::has_come(), comes);
    }
}
