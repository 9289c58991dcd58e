#include "doctor/bus_check.hpp"
#include "doctor/checks.hpp"
#include "doctor/processes.hpp"
#include "doctor/records_check.hpp"
#include "frames.hpp"
#include "main/configuration_defaults.hpp"
#include "main/instance_lock.hpp"
#include "record/journal_file.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/logging.hpp>
#include <gmock/gmock.h>

#include <fcntl.h>
#include <regex>
#include <sys/stat.h>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using namespace celldctl;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

using Lines = std::vector<std::string>;

constexpr auto CONFIGURATION = "/etc/vexa/celld.conf";

/// Without the first one of a file that can be read, and without what stands for "/".
Lines told(const Findings& findings)
{
    static const std::regex root("/tmp/celld-test-[^/]*");
    Lines lines;
    for (const auto& finding : findings.all()) {
        const char* const level = finding.level == Level::OK        ? "ok: "
                                  : finding.level == Level::WARNING ? "warning: "
                                                                    : "error: ";
        if (finding.text.find(" can be read") == std::string::npos) {
            lines.push_back(level + std::regex_replace(finding.text, root, ""));
        }
        EXPECT_EQ(finding.next.empty(), finding.level == Level::OK) << "the next step of " << finding.text;
    }
    return lines;
}
template <class Argument>
Lines told_by(void (*check)(const Argument&, Findings&), const std::type_identity_t<Argument>& argument)
{
    Findings findings;
    check(argument, findings);
    return told(findings);
}

MATCHER(Begins, "")
{
    return std::get<0>(arg).starts_with(std::get<1>(arg));
}
void expect_told(const Lines& lines, const Lines& begins)
{
    EXPECT_THAT(lines, testing::Pointwise(Begins(), begins));
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
    Lines of_configuration(const std::string& text, mode_t mode = 0640) const
    {
        const auto file = file_of(text, mode);
        auto configuration = configuration_of(file);
        register_defaults(configuration);
        auto lines = told_by(check_configuration, file);
        const auto limits = told_by(check_limits, configuration);
        lines.insert(lines.end(), limits.begin(), limits.end());
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
        Lines lines;
    } const cases[] = {
        {"\xef\xbb\xbfhost = unit\r\n# comment\n\nport = 1883\r\n", {}},
        {"nonsense\n= 1\n", {"error: line 1: no '=' in it", "error: line 2: no key in front of '='"}},
        {"host =\nport = 70000\nclient_name = a\x01z\n",
         {"error: port = '70000' is no number from 1 to 65535", "error: host = '' is empty",
          "error: client_name = 'a\x01z' is no MQTT client id"}},
        {"port = 1\nport = 2\nlogmode = STDOUT\nloglevel = loud\n",
         {"warning: line 2 sets 'port' again; the one of line 1 is of no effect",
          "warning: Unknown value of logmode 'STDOUT'", "warning: Unknown value of loglevel 'loud'"}},
        {"sim.internal.password = a\"b\n", {"error: sim.internal.password holds a double quote"}},
        {"bus.certfile = /etc/none.pem\nbus.password = x\n",
         {"error: bus.certfile: /etc/none.pem: No such file",
          "warning: bus.certfile or bus.keyfile without bus.cafile",
          "warning: bus.password without bus.username"}},
        {"max_sim_errors = 0\nmax_modem_reset = -1\nnw_search_reattach_timer = 99s\nantenna.rssi_threshold = "
         "32\n",
         {"warning: max_modem_reset = '-1' is no number",
          "warning: nw_search_reattach_timer = '99s' counts as 99",
          "warning: max_sim_errors = '0' would act on every pass",
          "warning: antenna.rssi_threshold = '32' is no number"}},
        {"modem_restart_timeout = 4\nmax_modem_reset = 2\n",
         {"warning: max_modem_reset = 2 acts too early", "warning: modem_restart_timeout = 4 acts too early",
          "warning: max_modem_resets_before_dtc is not below max_modem_reset"}},
        {"modem_restart_timeout = 0\nnw_search_reattach_timer = 300\nnw_search_modem_reset_timer = 300\n",
         {"warning: modem_restart_timeout is 0", "warning: nw_search_modem_reset_timer is not above"}},
    };
    for (const auto& [text, lines] : cases) {
        expect_told(of_configuration(text), lines);
    }
}

TEST_F(Doctor, LooksAtRightsAndAtWhatIsInAFilesPlace)
{
    EXPECT_EQ(of_configuration("host = a\n", 0644), Lines());
    EXPECT_EQ(of_configuration("host = a\n", 0646), Lines{"warning: anybody may write to it"});
    EXPECT_EQ(of_configuration("sim.external.pin = 1\n", 0644),
              Lines{"warning: anybody may read the secrets in it"});
    EXPECT_THAT(of_configuration(std::string(2'000'000, 'x')).front(),
                HasSubstr("larger than any configuration"));

    root.remove(CONFIGURATION);
    EXPECT_THAT(told_by(check_configuration, read_unit_file(CONFIGURATION)),
                testing::ElementsAre(testing::StartsWith("ok: ")))
        << "the defaults";
    for (const auto& [make, reason] :
         {std::pair{+[](const char* path) { return mkdir(path, 0755); }, "it is a directory"},
          {+[](const char* path) { return mkfifo(path, 0644); }, "it is no file"},
          {+[](const char* path) { return symlink("celld.conf", path); }, "Too many levels"}}) {
        ASSERT_EQ(make(root.path(CONFIGURATION).c_str()), 0);
        EXPECT_THAT(told_by(check_configuration, read_unit_file(CONFIGURATION)),
                    testing::ElementsAre(testing::AllOf(testing::StartsWith("error: "), HasSubstr(reason))));
        root.remove(CONFIGURATION);
    }
}

TEST_F(Doctor, FindsWhatIsWrongWithTheUnitsVariables)
{
    expect_told(
        told_by(check_variables,
                file_of("hwvariant = \"QBX2\"\nmodemtyp = SARA\nhwversion = K7\nother = 1\nnonsense\n")),
        {"warning: line 5: no '=' in it, skipped", "warning: hwversion = 'K7' is none of k7, qbx, rmx",
         "ok: hwvariant = QBX2", "warning: hasintsim is not set", "warning: hasextsim is not set",
         "error: modemtype is not set", "warning: divantenna is not set",
         "warning: line 2: nobody asks for 'modemtyp'"});
    expect_told(told_by(check_parameters, file_of("8233 = x\nx1 = 1\n", 0644)),
                {"warning: anybody may read the secrets", "warning: line 2: 'x1' is no parameter's number"});
    UnitSettings settings;
    settings.external_sim.state = defs::SimState::DISABLE;
    settings.internal_sim.apn = "internet";
    settings.off_by_parameter = true;
    settings.antenna_limits = {100, 10};
    expect_told(told_by(check_settings, settings),
                {"ok: Internal SIM: access point internet", "ok: External SIM is disabled",
                 "warning: system parameter 41060 is 0 or absent",
                 "ok: a healthy antenna measures 10 to 100"});
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
    const Writer root_itself{"root", 0, 0};
    const auto of = [](const Writer& writer, bool recording, bool runs) {
        Findings findings;
        check_records(writer, recording, runs, findings);
        auto lines = told(findings);
        std::erase_if(lines,
                      [](const auto& line) { return line.find("left on the disk") != std::string::npos; });
        return lines;
    };
    const std::string off = "ok: the AT dialogue is not recorded";
    expect_told(of(owner, false, false), {"warning: /var/lib/celld: No such file or directory", off});
    expect_told(of(owner, false, true), {"error: /var/lib/celld: No such file or directory", off});

    std::filesystem::create_directories(folder);
    ASSERT_TRUE(getuid() != 0 || chown(folder.c_str(), owner.user, owner.group) == 0);
    expect_told(of(owner, false, true), {"ok: the journal is empty", off});
    expect_told(of(stranger, false, true), {"error: /var/lib/celld cannot be written by celld", off});
    EXPECT_EQ(of(owner, true, true).back(),
              "warning: at.recording is set, and /var/lib/celld/at.recording is not there");

    const std::string found =
        "records in the journal: 1, the newest of 1970-01-01T00:00:00.000Z; damaged lines: ";
    const auto line = journal::to_line(JournalRecord()) + "\n";
    root.write(journal::PATH, line + "torn\n");
    EXPECT_EQ(of(root_itself, false, true).front(), "ok: " + found + "1");
    root.write(journal::PATH, line + "torn\nand\nchanged\n");
    EXPECT_EQ(of(root_itself, false, true).front(), "warning: " + found + "3, more than power cuts leave");
    chmod(root.path(journal::PATH).c_str(), 0444);
    EXPECT_EQ(of(owner, false, true).front(),
              "error: /var/lib/celld/journal cannot be written by celld, nothing is added to it");
    root.write("/var/lib/celld/at.recording", "");
    EXPECT_EQ(of(root_itself, true, true).back(),
              "ok: the AT dialogue is recorded in /var/lib/celld/at.recording, which has 0 KiB");
}

TEST_F(Doctor, ReadsTheBoardsLines)
{
    EXPECT_EQ(told_by(check_board, "k7").size(), 1U);
    root.write("/sys/class/gpio/export", "");
    root.write("/sys/class/gpio/gpio162/direction", "out\n");
    root.write("/sys/class/gpio/gpio162/value", "1\n");
    root.write("/sys/class/gpio/gpio160/direction", "in\n");
    expect_told(told_by(check_board, "k7"), {"ok: VCC 162 out 1", "error: VINT: line 160 cannot be read",
                                             "warning: not exported: PWRON 157, RESET 156"});
}

TEST(DoctorOfTheBus, JudgesWhatIsRetained)
{
    constexpr std::chrono::nanoseconds HOUR = 1h;
    const auto bus = [](pb::ModemStatus::ModemState state, std::chrono::nanoseconds stamp,
                        bool is_will = false) {
        Snapshot snapshot;
        auto status = status_in(state);
        if (is_will) {
            status.clear_reset_reason();
        }
        pb::BackendProxyStatus connected;
        connected.set_status(pb::BackendProxyStatus::BACKEND_CONNECTED);
        snapshot.take("system/modem/status", frame_of(status, true, stamp));
        snapshot.take("system/modem/hardware", frame_of(pb::ModemHardware()));
        snapshot.take("system/modem/sim", frame_of(pb::ModemSimInformation()));
        snapshot.take("be/status", frame_of(connected));
        return snapshot;
    };
    const std::string backend = "ok: the backend is connected";
    auto garbage = bus(pb::ModemStatus::CONNECTED, HOUR);
    garbage.take("system/modem/sim", com::Message({1}));
    struct {
        Snapshot snapshot;
        Lines lines;
    } const cases[] = {
        {bus(pb::ModemStatus::CONNECTED, HOUR), {"ok: the modem is CONNECTED, 0 s old", backend}},
        {bus(pb::ModemStatus::SEARCHING, HOUR), {"warning: the modem is SEARCHING, 0 s old", backend}},
        {bus(pb::ModemStatus::CONNECTED, 0ns), {"error: the status (CONNECTED, 1 h 00 min old)", backend}},
        {bus(pb::ModemStatus::UNKNOWN, HOUR, true), {"error: the status is celld's last will", backend}},
        {garbage, {"ok: the modem is CONNECTED, 0 s old", "error: does not decode: sim", backend}},
        {Snapshot(),
         {"error: no status", "warning: the module or its SIM", "warning: no status of the backend"}},
    };
    for (const auto& [snapshot, lines] : cases) {
        Findings findings;
        check_retained(snapshot, facts_of(snapshot, HOUR.count()), findings);
        expect_told(told(findings), lines);
    }
}

TEST(Findings, AreLinesForAPersonAndForAProgram)
{
    Findings findings;
    findings.area("port");
    findings.ok("there");
    findings.error("no\x1b", "do");
    EXPECT_EQ(findings_text(findings),
              "ok       port: there\nerror    port: no\\x1b\n         -> do\n1 error, 0 warnings\n");
    EXPECT_THAT(findings_json(findings), testing::ContainsRegex(R"("errors": 1[^]]*"text": "no.u001b")"));
}
