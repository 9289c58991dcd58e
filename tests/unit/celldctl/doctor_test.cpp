#include "bus/message_adapter.hpp"
#include "doctor/bus_check.hpp"
#include "doctor/checks.hpp"
#include "doctor/processes.hpp"
#include "doctor/records_check.hpp"
#include "main/configuration_defaults.hpp"
#include "main/instance_lock.hpp"
#include "record/journal_file.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/logging.hpp>
#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using namespace celldctl;
using testing::ElementsAreArray;
using testing::HasSubstr;

namespace {

constexpr auto CONFIGURATION = "/etc/vexa/celld.conf";

/// Without the first one of a file that can be read, which names the temporary directory.
std::vector<std::string> told(const Findings& findings)
{
    std::vector<std::string> lines;
    for (const auto& finding : findings.all()) {
        const char* const level = finding.level == Level::OK        ? "ok"
                                  : finding.level == Level::WARNING ? "warning"
                                                                    : "error";
        if (finding.text.find(" can be read") == std::string::npos) {
            lines.push_back(std::string(level) + ": " + finding.text);
        }
        EXPECT_EQ(finding.next.empty(), finding.level == Level::OK) << "the next step of " << finding.text;
    }
    return lines;
}

class Doctor : public testing::Test {
protected:
    Doctor() { ecu::kova::logging::configure_logging("EMERG"); }
    ~Doctor() override { ecu::kova::logging::configure_logging("NOTICE"); }

    UnitFile file_of(const std::string& text, mode_t mode = 0640) const
    {
        root.write(CONFIGURATION, text);
        chmod(root.path(CONFIGURATION).c_str(), mode);
        return read_unit_file(CONFIGURATION);
    }
    std::vector<std::string> of_configuration(const std::string& text, mode_t mode = 0640) const
    {
        Findings findings;
        const auto file = file_of(text, mode);
        check_configuration(file, findings);
        auto configuration = configuration_of(file);
        register_defaults(configuration);
        check_limits(configuration, findings);
        auto lines = told(findings);
        std::erase(lines, "ok: the limits are numbers, and none acts too early");
        return lines;
    }

    TempRoot root;
};

} // namespace

TEST_F(Doctor, FindsWhatIsWrongWithTheConfiguration)
{
    struct {
        std::string text;
        std::vector<std::string> lines;
    } const cases[] = {
        {"\xef\xbb\xbfhost = unit\r\n# comment\n\nport = 1883\r\n", {}},
        {"nonsense\n= 1\n",
         {"error: line 1: no '=' in it; celld does not start",
          "error: line 2: no key in front of '='; celld does not start"}},
        {"host =\nport = 70000\nclient_name = a\x01z\n",
         {"error: port = '70000' is no number from 1 to 65535; celld does not start",
          "error: host = '' is empty; celld does not start",
          "error: client_name = 'a\x01z' is no MQTT client id; celld does not start"}},
        {"port = 1\nport = 2\nport = 3\n",
         {"warning: line 2 sets 'port' again; the one of line 1 is of no effect",
          "warning: line 3 sets 'port' again; the one of line 2 is of no effect"}},
        {"client-name = x\nlogmode = STDOUT\nloglevel = loud\n",
         {"warning: Unknown key in the configuration 'client-name', did you mean 'client_name'?",
          "warning: Unknown value of logmode 'STDOUT', did you mean 'stdout'?",
          "warning: Unknown value of loglevel 'loud'"}},
        {"sim.internal.password = a\"b\n",
         {"error: sim.internal.password holds a double quote or a control character, and counts as empty"}},
        {"bus.certfile = /etc/none.pem\nbus.password = x\n",
         {"error: bus.certfile: " + root.path("/etc/none.pem").string() + ": No such file or directory",
          "warning: bus.certfile or bus.keyfile without bus.cafile: there is no TLS",
          "warning: bus.password without bus.username: there is no login"}},
        {"max_sim_errors = 0\nmax_modem_reset = -1\nnw_search_reattach_timer = 99s\nantenna.rssi_threshold = "
         "32\n",
         {"warning: max_modem_reset = '-1' is no number up to 4294967295; the default counts",
          "warning: nw_search_reattach_timer = '99s' counts as 99",
          "warning: max_sim_errors = '0' would act on every pass; the default counts",
          "warning: antenna.rssi_threshold = '32' is no number from 0 to 31"}},
        {"modem_restart_timeout = 4\nmax_modem_reset = 2\n",
         {"warning: max_modem_reset = 2 acts too early: a module that does not start at the first try ends "
          "the daemon",
          "warning: modem_restart_timeout = 4 acts too early: a backend that is down for a moment resets the "
          "module of every unit",
          "warning: max_modem_resets_before_dtc is not below max_modem_reset: the daemon ends before it "
          "reports a "
          "hardware error"}},
        {"modem_restart_timeout = 0\nnw_search_reattach_timer = 300\nnw_search_modem_reset_timer = 300\n",
         {"warning: modem_restart_timeout is 0: a module that has lost the backend is never reset",
          "warning: nw_search_modem_reset_timer is not above nw_search_reattach_timer: the module is reset "
          "before "
          "the search was started anew once"}},
    };
    for (const auto& [text, lines] : cases) {
        EXPECT_THAT(of_configuration(text), ElementsAreArray(lines)) << text;
    }
}

TEST_F(Doctor, LooksAtRightsAndAtWhatIsInAFilesPlace)
{
    const std::vector<std::string> writable{"warning: anybody may write to it"};
    const std::vector<std::string> secret{"warning: anybody may read the secrets in it"};
    EXPECT_THAT(of_configuration("host = a\n", 0644), ElementsAreArray(std::vector<std::string>()));
    EXPECT_THAT(of_configuration("host = a\n", 0646), ElementsAreArray(writable));
    EXPECT_THAT(of_configuration("sim.external.pin = 1\n", 0644), ElementsAreArray(secret));
    EXPECT_THAT(of_configuration(std::string(2'000'000, 'x')).front(),
                HasSubstr("larger than any configuration"));

    root.remove(CONFIGURATION);
    Findings absent;
    check_configuration(read_unit_file(CONFIGURATION), absent);
    EXPECT_EQ(absent.count(Level::OK), 1U) << "the defaults";
    for (const auto& [make, reason] :
         {std::pair{+[](const char* path) { return mkdir(path, 0755); }, "it is a directory"},
          {+[](const char* path) { return mkfifo(path, 0644); }, "it is no file"},
          {+[](const char* path) { return symlink("celld.conf", path); }, "Too many levels"}}) {
        ASSERT_EQ(make(root.path(CONFIGURATION).c_str()), 0);
        Findings findings;
        check_configuration(read_unit_file(CONFIGURATION), findings);
        ASSERT_EQ(findings.count(Level::ERROR), 1U) << reason;
        EXPECT_THAT(findings.all().front().text, HasSubstr(reason));
        root.remove(CONFIGURATION);
    }
}

TEST_F(Doctor, FindsWhatIsWrongWithTheUnitsVariables)
{
    Findings variables;
    check_variables(file_of("hwvariant = \"QBX2\"\nmodemtyp = SARA\nhwversion = K7\nother = 1\nnonsense\n"),
                    variables);
    EXPECT_THAT(told(variables),
                ElementsAreArray({
                    "warning: line 5: no '=' in it, skipped",
                    "warning: hwversion = 'K7' is none of k7, qbx, rmx",
                    "ok: hwvariant = QBX2",
                    "warning: hasintsim is not set: 5 s are waited for it, and the configuration decides",
                    "warning: hasextsim is not set: 5 s are waited for it, and the configuration decides",
                    "error: modemtype is not set: celld waits for it for ever",
                    "warning: divantenna is not set: a minute is waited for it, and one antenna assumed",
                    "warning: line 2: nobody asks for 'modemtyp'",
                }));
    Findings parameters;
    check_parameters(file_of("8233 = x\nx1 = 1\n", 0644), parameters);
    EXPECT_THAT(told(parameters), ElementsAreArray({"warning: anybody may read the secrets in it",
                                                    "warning: line 2: 'x1' is no parameter's number"}));
    UnitSettings settings;
    settings.external_sim.state = defs::SimState::DISABLE;
    settings.internal_sim.apn = "internet";
    settings.off_by_parameter = true;
    settings.antenna_limits = {100, 10};
    Findings unit;
    check_settings(settings, unit);
    EXPECT_THAT(told(unit),
                ElementsAreArray(
                    {"ok: Internal SIM: access point internet", "ok: External SIM is disabled",
                     "warning: system parameter 41060 is 0 or absent on an RMX board: the module stays off",
                     "ok: a healthy antenna measures 10 to 100"}));
}

TEST_F(Doctor, SaysWhoHasThePortAndWhetherTheDaemonRuns)
{
    EXPECT_EQ(running_celld(), 0);
    std::filesystem::create_directories(root.path("/run"));
    root.write("/run/celld.lock", std::to_string(getpid()) + "\n");
    EXPECT_EQ(running_celld(), 0) << "nobody holds it";
    {
        const InstanceLock lock;
        EXPECT_EQ(running_celld(), getpid());
    }
    root.write("/dev/port", "");
    const auto port = root.path("/dev/port").string();
    bool sees_all = false;
    EXPECT_TRUE(holders_of(port, sees_all).empty());
    const int held = open(port.c_str(), O_RDONLY | O_CLOEXEC);
    const auto holders = holders_of(port, sees_all);
    close(held);
    ASSERT_EQ(holders.size(), 1U);
    EXPECT_EQ(holders.front().id, getpid());
    EXPECT_THAT(holders.front().name, HasSubstr("celldctl"));
}

TEST_F(Doctor, SaysWhetherJournalAndRecordingCanBeKept)
{
    const auto folder = root.path("/var/lib/celld");
    const Writer owner{"celld", getuid() == 0 ? 1000 : getuid(), getuid() == 0 ? 1000 : getgid()};
    const Writer stranger{"celld", owner.user + 1, owner.group + 1};
    const auto of = [](const Writer& writer, bool recording, bool runs) {
        Findings findings;
        check_records(writer, recording, runs, findings);
        auto lines = told(findings);
        std::erase_if(lines,
                      [](const auto& line) { return line.find("left on the disk") != std::string::npos; });
        for (auto& line : lines) {
            const auto at = line.find("/tmp");
            const auto end = line.find("/var", std::min(at, line.size()));
            line = at == std::string::npos ? line : line.replace(at, end - at, "");
        }
        return lines;
    };
    const std::string off = "ok: the AT dialogue is not recorded (at.recording)";
    using Lines = std::vector<std::string>;
    EXPECT_EQ(of(owner, false, false), (Lines{"warning: /var/lib/celld: No such file or directory", off}));
    EXPECT_EQ(of(owner, false, true),
              (Lines{"error: /var/lib/celld: No such file or directory; celld keeps no journal", off}));

    std::filesystem::create_directories(folder);
    ASSERT_TRUE(getuid() != 0 || chown(folder.c_str(), owner.user, owner.group) == 0);
    EXPECT_EQ(of(owner, false, true), (Lines{"ok: the journal is empty: celld has not run here", off}));
    EXPECT_EQ(of(stranger, false, true),
              (Lines{"error: /var/lib/celld cannot be written by celld: celld keeps no journal", off}));
    EXPECT_EQ(of(owner, true, true).back(),
              "warning: at.recording is set, and /var/lib/celld/at.recording is not there");

    const auto line = journal::to_line(JournalRecord()) + "\n";
    root.write(journal::PATH, line + "torn\n");
    EXPECT_EQ(
        of({"root", 0, 0}, false, true),
        (Lines{"ok: records in the journal: 1, the newest of 1970-01-01T00:00:00.000Z; damaged lines: 1",
               off}));
    root.write(journal::PATH, line + "torn\nand\nchanged\n");
    EXPECT_EQ(
        of({"root", 0, 0}, false, true).front(),
        "warning: records in the journal: 1, the newest of 1970-01-01T00:00:00.000Z; damaged lines: 3, more "
        "than power cuts leave");
    chmod(root.path(journal::PATH).c_str(), 0444);
    EXPECT_EQ(of(owner, false, true).front(),
              "error: /var/lib/celld/journal cannot be written by celld, nothing is added to it");
    root.write("/var/lib/celld/at.recording", "");
    EXPECT_EQ(of({"root", 0, 0}, true, true).back(),
              "ok: the AT dialogue is recorded in /var/lib/celld/at.recording, which has 0 KiB");
}

TEST_F(Doctor, ReadsTheBoardsLines)
{
    Findings without;
    check_board("k7", without);
    EXPECT_EQ(without.count(Level::ERROR), 1U);
    root.write("/sys/class/gpio/export", "");
    root.write("/sys/class/gpio/gpio162/direction", "out\n");
    root.write("/sys/class/gpio/gpio162/value", "1\n");
    root.write("/sys/class/gpio/gpio160/direction", "in\n");
    Findings board;
    check_board("k7", board);
    EXPECT_THAT(told(board), ElementsAreArray({"ok: VCC 162 out 1", "error: VINT: line 160 cannot be read",
                                               "warning: not exported: PWRON 157, RESET 156"}));
}

TEST(DoctorOfTheBus, JudgesWhatIsRetained)
{
    constexpr std::int64_t HOUR_NS = 3'600'000'000'000;
    const auto bus = [](pb::ModemStatus::ModemState state, std::int64_t stamp_ns, bool is_will = false) {
        Snapshot snapshot;
        snapshot.status.presence = Presence::PRESENT;
        snapshot.status.retained = true;
        snapshot.status.stamp_ns = stamp_ns;
        snapshot.status.value.set_state(state);
        if (!is_will) {
            snapshot.status.value.set_reset_reason(pb::ModemStatus::NONE);
        }
        snapshot.hardware.presence = Presence::PRESENT;
        snapshot.sim.presence = Presence::PRESENT;
        snapshot.backend.presence = Presence::PRESENT;
        snapshot.backend.value.set_status(pb::BackendProxyStatus::BACKEND_CONNECTED);
        return snapshot;
    };
    auto garbage = bus(pb::ModemStatus::CONNECTED, HOUR_NS);
    garbage.sim = {Presence::UNREADABLE, {}, {}, true};
    struct {
        Snapshot snapshot;
        std::vector<std::string> lines;
    } const cases[] = {
        {bus(pb::ModemStatus::CONNECTED, HOUR_NS),
         {"ok: the modem is CONNECTED, 0 s old", "ok: the backend is connected"}},
        {bus(pb::ModemStatus::SEARCHING, HOUR_NS),
         {"warning: the modem is SEARCHING, 0 s old", "ok: the backend is connected"}},
        {bus(pb::ModemStatus::CONNECTED, 0),
         {"error: the status (CONNECTED, 1 h 00 min old) is of a celld that is silent",
          "ok: the backend is connected"}},
        {bus(pb::ModemStatus::UNKNOWN, HOUR_NS, true),
         {"error: the status is celld's last will: it has ended without a farewell",
          "ok: the backend is connected"}},
        {garbage,
         {"ok: the modem is CONNECTED, 0 s old", "error: does not decode: sim",
          "ok: the backend is connected"}},
        {Snapshot(),
         {"error: no status: celld has not reached this broker",
          "warning: the module or its SIM has not been read yet",
          "warning: no status of the backend: the module will be reset for want of it"}},
    };
    for (const auto& [snapshot, lines] : cases) {
        Findings findings;
        check_retained(snapshot, facts_of(snapshot, HOUR_NS), findings);
        EXPECT_THAT(told(findings), ElementsAreArray(lines));
    }
}

TEST(Findings, AreLinesForAPersonAndForAProgram)
{
    Findings findings;
    findings.area("port");
    findings.ok("there");
    findings.error("no\x1b", "do");
    EXPECT_EQ(findings_text(findings), "ok       port: there\n"
                                       "error    port: no\\x1b\n"
                                       "         -> do\n"
                                       "1 error, 0 warnings\n");
    auto json = findings_json(findings);
    std::erase_if(json, [](char character) { return character == ' ' || character == '\n'; });
    EXPECT_EQ(json, R"({"errors":1,"warnings":0,"findings":[{"level":"ok","area":"port","text":"there"},)"
                    R"({"level":"error","area":"port","text":"no\u001b","next":"do"}]})");
}
