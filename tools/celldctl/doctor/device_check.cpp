#include "doctor/checks.hpp"
#include "doctor/processes.hpp"

#include <ecu/kova/root.hpp>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace celldctl {

namespace {

constexpr auto PORT = "/dev/ttyUbloxModemAT";

std::string reason(int error)
{
    return std::generic_category().message(error);
}

std::string real_path_of(const std::string& path)
{
    const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), &std::free);
    return real ? real.get() : "";
}

void check_absent(const std::string& path, Findings& findings)
{
    struct stat link {};
    if (lstat(path.c_str(), &link) == 0) {
        findings.error(path + " leads nowhere: " + reason(errno),
                       "mend the link, or the udev rule that makes it");
        return;
    }
    findings.warning(path + " is not there: the module is off, or nothing gives its port this name",
                     "switch it on with 'celld poweron'; the udev rule is in README");
}

void check_holders(const std::string& path, const std::string& real, Findings& findings)
{
    bool sees_all = true;
    const pid_t celld = running_celld();
    bool others = false;
    for (const auto& holder : holders_of(real, sees_all)) {
        if (holder.id == celld) {
            findings.ok("celld (process " + std::to_string(celld) + ") has it open");
            continue;
        }
        others = true;
        findings.error(path + " is open in another process: '" + holder.name + "' (" +
                           std::to_string(holder.id) + ")",
                       "stop it, or have it leave this port alone");
    }
    if (!sees_all) {
        findings.warning("what other users' processes have open is not to be seen", "run this as root");
    } else if (!others) {
        findings.ok("no other process has it open");
    }
}

} // namespace

void check_device(Findings& findings)
{
    const auto path = ecu::kova::rooted(PORT);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        check_absent(path, findings);
        return;
    }
    const auto real = real_path_of(path);
    if (!S_ISCHR(status.st_mode)) {
        findings.error(path + " is no character device",
                       "remove it; the module's port has to have this name");
        return;
    }
    findings.ok(path + (real == path || real.empty() ? "" : " is " + real));
    if (access(path.c_str(), R_OK | W_OK) != 0) {
        findings.warning("it is not for this user: " + reason(errno),
                         "run this as the user that celld runs as");
    }
    check_holders(path, real.empty() ? path : real, findings);
}

void check_daemon(Findings& findings)
{
    if (const pid_t celld = running_celld(); celld != 0) {
        findings.ok("celld runs, process " + std::to_string(celld));
    } else {
        findings.warning("celld does not run", "systemctl start celld");
    }
}

} // namespace celldctl
