#include "main/command_line.hpp"
#include "main/configuration_defaults.hpp"
#include "main/hangup.hpp"
#include "main/instance_lock.hpp"
#include "main/logging_setup.hpp"
#include "main/slips.hpp"
#include "support/log_capture.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/logging.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <getopt.h>
#include <regex>
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

template <class Error, class Action>
std::string fault_of(Action action)
{
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return "none";
}

std::string configuration_fault()
{
    return fault_of<ecu::kova::config::ConfigurationError>(get_config);
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
    EXPECT_FALSE(options.log_to_stdout);
    ASSERT_TRUE(parse({"-L"}, options));
    EXPECT_TRUE(options.log_to_stdout);
    EXPECT_EQ(logging::get_log_mode(), logging::LogMode::STDOUT);
    logging::set_log_mode(logging::LogMode::SYSLOG);
    EXPECT_EXIT(parse({"-v"}, options), ::testing::ExitedWithCode(0), "");
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
        EXPECT_EQ(configuration_fault(), path.string() + fault);
    }
    root.remove(CONFIGURATION);
    EXPECT_EQ(configuration_fault(), "none") << "a missing one means the defaults";
}

TEST(Slips, EachIsToldOnceWithTheNearestKnownWord)
{
    struct Case {
        const char* key;
        const char* value;
        const char* told;
    };
    for (const auto& [key, value, told] : std::vector<Case>{
             {"client-name", "x",
              "Unknown key in the configuration 'client-name', did you mean 'client_name'?"},
             {"sim.internal.pin", "1",
              "Unknown key in the configuration 'sim.internal.pin', did you mean 'sim.external.pin'?"},
             {"colour", "x", "Unknown key in the configuration 'colour'"},
             {"logmode", "STDOUT", "Unknown value of logmode 'STDOUT', did you mean 'stdout'?"},
             {"routermode", "flase", "Unknown value of routermode 'flase', did you mean 'false'?"},
             {"sim.internal.state", "Disabel",
              "Unknown value of sim.internal.state 'Disabel', did you mean 'disable'?"},
             {"sim.external.state", "never", "Unknown value of sim.external.state 'never'"},
             {"sim.external.state", "Disable", ""},
             {"routermode", "true", ""},
             {"logmode", "", ""},
             {"logmodules", "celld.sim,kova.var,all", ""},
             {"logmodules", "celld.sim,celld.modm",
              "Unknown log module 'celld.modm', did you mean 'celld.modem'?"},
         }) {
        ecu::kova::config::Configuration configuration;
        register_defaults(configuration);
        configuration.set(key, value);
        const LogCapture log;
        warn_of_slips(configuration, {});
        const auto records = log.records();
        ASSERT_EQ(records.size(), *told == '\0' ? 0U : 1U) << key << '\n' << log;
        if (!records.empty()) {
            EXPECT_EQ(records.front().text, told);
            EXPECT_EQ(records.front().level, LogCapture::Level::WARNING);
        }
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

/// The lists of what is known stand apart from where it is read: they must not stay behind.
TEST(Slips, TheSampleShowsTheDefaultsAndNothingInItOrInTheSourcesIsUnknown)
{
    const std::filesystem::path tree = CELLD_SOURCE_DIR;
    std::ifstream sample(tree / "packaging/celld.conf.sample");
    std::stringstream keys;
    for (std::string line; std::getline(sample, line);) {
        keys << (std::regex_search(line, std::regex("^#[a-z_.]+ =")) ? line.substr(1) : "#") << '\n';
    }
    ecu::kova::config::Configuration configuration;
    ecu::kova::config::set_config_from_input(configuration, keys, "sample");
    EXPECT_GT(configuration.keys().size(), 25U);

    // The values shown there are the defaults; these have theirs where they are read.
    const std::set<std::string> elsewhere{
        "host",        "port", "logmode", "loglevel", "logmodules", "bus.cafile", "modem_restart_timeout",
        "at.recording"};
    ecu::kova::config::Configuration defaults;
    register_defaults(defaults);
    EXPECT_EQ(defaults.get("routermode"), "false"); // of no effect, and not in the sample
    for (const auto& key : configuration.keys()) {
        EXPECT_EQ(defaults.get(key), elsewhere.count(key) == 0 ? configuration.get(key) : "") << key;
    }

    std::set<std::string> modules;
    for (const char* folder : {"src", "platform/src"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(tree / folder)) {
            std::ifstream file(entry.is_regular_file() ? entry.path() : "/dev/null");
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            const std::regex made("module\\(\"([a-z.]+)\"\\)");
            for (std::sregex_iterator at(text.begin(), text.end(), made), end; at != end; ++at) {
                modules.insert((*at)[1]);
            }
        }
    }
    EXPECT_GT(modules.size(), 20U);
    std::string all;
    for (const auto& module : modules) {
        all += module + ',';
    }
    configuration.set("logmodules", all);
    register_defaults(configuration);
    const LogCapture log;
    warn_of_slips(configuration, {});
    EXPECT_EQ(log.records().size(), 0U) << log;
}

TEST(InstanceLock, IsHeldByOneAndNamesIt)
{
    const TempRoot root;
    const LogCapture log;
    root.write("/run/celld.lock", "4194304999\n"); // left by one that was killed
    const auto second_fault = [] { return fault_of<std::runtime_error>([] { InstanceLock second; }); };
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
    std::filesystem::create_directories(root.path("/run/celld.lock"));
    const InstanceLock no_file;
    for (const char* reason :
         {"/run/celld.lock: No such file or directory (2)", "/run/celld.lock: Is a directory (21)"}) {
        EXPECT_TRUE(log.contains(LogCapture::Level::WARNING, reason)) << log;
    }
}

TEST(LoggingSetUp, TheCommandLineBeatsTheFileAndAllComesFirst)
{
    LogCapture log(logging::Level::NOTICE);
    ecu::kova::config::Configuration configuration;
    CommandLineOptions options;
    configuration.set("logmodules", "celld.modem, celld.sim");
    configuration.set("loglevel", "DEBUG");
    using logging::LogMode;
    for (const auto& [word, mode] :
         {std::pair{"stdout", LogMode::STDOUT}, {"stderr", LogMode::STDERR}, {"syslog", LogMode::SYSLOG}}) {
        configuration.set("logmode", word);
        LoggingSetup(options).set_up(configuration);
        EXPECT_EQ(logging::get_log_mode(), mode) << word;
    }
    EXPECT_TRUE(logging::module("celld.sim").wants(logging::Level::DEBUG));
    EXPECT_FALSE(logging::module("celld.atport").wants(logging::Level::DEBUG));
    configuration.set("logmodules", "celld.modem,all,celld.sim");
    configuration.set("logmode", "printer");
    LoggingSetup(options).set_up(configuration);
    EXPECT_EQ(log.count("logmode from config 'printer' not recognized"), 1U);
    EXPECT_EQ(logging::get_log_level(), logging::Level::DEBUG);
    EXPECT_TRUE(logging::module("celld.atport").wants(logging::Level::DEBUG));

    options.loglevel_given = true;
    options.loglevel = "WARNING";
    options.log_to_stdout = true;
    log.clear();
    LoggingSetup(options).set_up(configuration);
    EXPECT_EQ(logging::get_log_level(), logging::Level::WARNING);
    EXPECT_EQ(log.count("not recognized"), 0U);
}

TEST(Hangup, ReadsLevelAndModulesAgainOrKeepsThem)
{
    struct Case {
        std::string file;
        std::string told;
        const char* level;
        std::set<std::string> wanted; // of those below, at DEBUG
    };
    const std::set<std::string> all{"celld.sim", "celld.atport.raw", "celld.main"};
    const std::string tail = "; other keys take a restart";
    TempRoot root;
    LogCapture log(logging::Level::NOTICE);
    root.write(CONFIGURATION, "loglevel = DEBUG\nlogmode = stderr\nlogmodules = celld.sim\n");
    LoggingSetup setup({});
    setup.set_up(*get_config());
    for (const auto& [file, told, level, wanted] : std::vector<Case>{
             {"loglevel = INFO\nlogmodules = celld.main\nlogmode = stdout\n",
              "read again: log level INFO, log modules celld.main" + tail,
              "INFO",
              {"celld.main"}},
             {"loglevel = DEBUG\nlogmodules = celld.sim,celld.main\n",
              "read again: log level DEBUG, log modules celld.main,celld.sim" + tail,
              "DEBUG",
              {"celld.sim", "celld.main"}},
             {"loglevel = EMERG\nno equals sign\n",
              "Configuration not read again, log level and modules stay: " +
                  root.path(CONFIGURATION).string() + ": line 2: no '=' in it",
              "DEBUG",
              {"celld.sim", "celld.main"}},
             {"loglevel = LOUD\nlogmodules = celld.sim\n",
              "Unknown log level 'LOUD', keeping DEBUG",
              "DEBUG",
              {"celld.sim"}},
             {"loglevel = DEBUG\nlogmodules = celld.simm\n",
              "Unknown log module 'celld.simm', did you mean 'celld.sim'?",
              "DEBUG",
              {}},
             {"loglevel = DEBUG\nlogmodules = all,celld.sim\n",
              "read again: log level DEBUG, log modules all" + tail, "DEBUG", all},
             {"", "read again: log level NOTICE, log modules all" + tail, "NOTICE", all},
         }) {
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

    CommandLineOptions options;
    options.loglevel_given = true;
    options.loglevel = "WARNING";
    root.write(CONFIGURATION, "loglevel = DEBUG\n");
    LoggingSetup(options).read_again();
    EXPECT_EQ(logging::get_log_level(), logging::Level::WARNING) << "the command line's stays";
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
