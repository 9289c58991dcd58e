#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace celldctl {

/// A process as the kernel shows it (proc(5)).
struct Process {
    pid_t id = 0;
    std::string name; ///< /proc/<id>/comm
};

/// Those that have the file open, by its real path. One that has the other end of the pseudo-terminal that it
/// may be is left out: it has made it. `sees_all` is false where others' open files are not for this user's
/// eyes.
std::vector<Process> holders_of(const std::string& real_path, bool& sees_all);

/// The celld of this root, by the lock it holds; 0 when none runs. Touches no lock: a daemon that starts at
/// this moment would give up.
pid_t running_celld();

} // namespace celldctl
