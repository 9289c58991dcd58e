#include "doctor/records_check.hpp"

#include "at/at_recording.hpp"
#include "doctor/processes.hpp"
#include "record/journal_file.hpp"
#include "utils/utc.hpp"

#include <ecu/kova/root.hpp>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <system_error>
#include <unistd.h>

namespace celldctl {

namespace {

constexpr auto USER = "celld"; // packaging/celld.sysusers
constexpr std::uintmax_t KIB = 1024;

std::string folder()
{
    return std::filesystem::path(ecu::kova::rooted(journal::PATH)).parent_path();
}

std::string kib(std::uintmax_t bytes)
{
    return std::to_string((bytes + KIB - 1) / KIB) + " KiB";
}

/// As the kernel judges it (path_resolution(7)), access control lists aside.
bool may_write(const Writer& writer, const struct stat& status, mode_t enter)
{
    const mode_t own = S_IWUSR | enter;
    const mode_t wanted = status.st_uid == writer.user    ? own
                          : status.st_gid == writer.group ? own >> 3U
                                                          : own >> 6U;
    return writer.user == 0 || (status.st_mode & wanted) == wanted;
}

/// False where nothing can be kept: the rest is not worth looking at.
bool check_folder(const Writer& writer, bool runs, Findings& findings)
{
    const auto path = folder();
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const auto reason = std::generic_category().message(errno);
        runs ? findings.error(path + ": " + reason + "; celld keeps no journal",
                              "install -d -o " + writer.name + " " + path)
             : findings.warning(path + ": " + reason, "the service makes it when it starts");
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        findings.error(path + " is no folder: celld keeps no journal", "move it out of the way");
        return false;
    }
    if (!may_write(writer, status, S_IXUSR)) {
        findings.error(path + " cannot be written by " + writer.name + ": celld keeps no journal",
                       "chown " + writer.name + " " + path);
        return false;
    }
    return true;
}

/// A file that is there and not `writer`'s to write, as after a start by hand as root.
void check_owner(const Writer& writer, const std::string& path, Findings& findings)
{
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && !may_write(writer, status, 0)) {
        findings.error(path + " cannot be written by " + writer.name + ", nothing is added to it",
                       "chown " + writer.name + " " + path);
    }
}

void check_journal(Findings& findings)
{
    const auto contents = journal::read();
    if (contents.wrong) {
        findings.error("the journal cannot be read: " + *contents.wrong, "run this as root");
        return;
    }
    if (contents.records.empty() && contents.damaged == 0) {
        findings.ok("the journal is empty: celld has not run here");
        return;
    }
    // A power cut tears one line, and a start follows it.
    const auto starts =
        std::count_if(contents.records.begin(), contents.records.end(),
                      [](const auto& record) { return record.kind == JournalRecord::Kind::START; });
    auto text = "records in the journal: " + std::to_string(contents.records.size());
    if (!contents.records.empty()) {
        text += ", the newest of " + utils::utc_text(contents.records.back().wall);
    }
    if (contents.damaged != 0) {
        text += "; damaged lines: " + std::to_string(contents.damaged);
    }
    if (contents.damaged > static_cast<std::size_t>(starts)) {
        findings.warning(text + ", more than power cuts leave",
                         "look at the disk (dmesg), and whether somebody else writes there");
    } else {
        findings.ok(text);
    }
}

std::uintmax_t size_of(const std::string& path)
{
    std::error_code none;
    const auto size = std::filesystem::file_size(path, none);
    return none ? 0 : size;
}

/// How much more the two files of one kind may come to take.
std::uintmax_t to_come(const std::string& path, std::uintmax_t limit)
{
    const auto taken = size_of(path) + size_of(path + ".1");
    return 2 * limit - std::min(2 * limit, taken);
}

void check_room(bool recording_wanted, Findings& findings)
{
    struct statvfs system {};
    if (statvfs(folder().c_str(), &system) != 0) {
        findings.warning("nobody can say what is left on the disk: " + std::generic_category().message(errno),
                         "df " + folder());
        return;
    }
    const auto left = static_cast<std::uintmax_t>(system.f_bavail) * system.f_frsize;
    const auto wanted =
        to_come(ecu::kova::rooted(journal::PATH), journal::LIMIT) +
        (recording_wanted ? to_come(ecu::kova::rooted(AtRecording::PATH), AtRecording::LIMIT) : 0);
    const auto text = kib(left) + " are left on the disk, " + kib(wanted) + " may still be written";
    if (left < wanted) {
        findings.warning(text, "make room: records that do not fit are dropped");
    } else {
        findings.ok(text);
    }
}

void check_recording(bool wanted, bool runs, Findings& findings)
{
    const auto path = ecu::kova::rooted(AtRecording::PATH);
    const bool exists = access(path.c_str(), F_OK) == 0;
    if (wanted && runs && !exists) {
        findings.warning("at.recording is set, and " + path + " is not there",
                         "systemctl restart celld: the configuration is read at its start");
    } else if (wanted) {
        findings.ok("the AT dialogue is recorded in " + path +
                    (exists ? ", which has " + kib(size_of(path)) : " from the next start"));
    } else {
        findings.ok("the AT dialogue is not recorded (at.recording)" +
                    (exists ? "; an old one is " + path : std::string()));
    }
}

} // namespace

Writer writer_of_records()
{
    struct stat process {};
    const pid_t celld = running_celld();
    if (celld != 0 && stat(("/proc/" + std::to_string(celld)).c_str(), &process) == 0) {
        const auto* const user = getpwuid(process.st_uid); // NOLINT(concurrency-mt-unsafe): nobody else asks
        return {user != nullptr ? user->pw_name : std::to_string(process.st_uid), process.st_uid,
                process.st_gid};
    }
    const auto* user = getpwnam(USER); // NOLINT(concurrency-mt-unsafe): as above
    if (user == nullptr) {
        user = getpwuid(geteuid()); // NOLINT(concurrency-mt-unsafe): as above
    }
    return user != nullptr ? Writer{user->pw_name, user->pw_uid, user->pw_gid}
                           : Writer{std::to_string(geteuid()), geteuid(), getegid()};
}

void check_records(const Writer& writer, bool recording_wanted, bool runs, Findings& findings)
{
    if (check_folder(writer, runs, findings)) {
        for (const auto* path : {journal::PATH, AtRecording::PATH}) {
            check_owner(writer, ecu::kova::rooted(path), findings);
        }
        check_journal(findings);
        check_room(recording_wanted, findings);
    }
    check_recording(recording_wanted, runs, findings);
}

} // namespace celldctl
