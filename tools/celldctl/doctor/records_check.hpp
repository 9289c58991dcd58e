#pragma once

#include "doctor/findings.hpp"

#include <string>
#include <sys/types.h>

namespace celldctl {

/// Who writes journal and recording.
struct Writer {
    std::string name;
    uid_t user = 0;
    gid_t group = 0; ///< its own; supplementary ones do not count
};

/// The user of the celld that runs, else the service's, else this one.
Writer writer_of_records();

/// The folder of journal and recording: whether it is there, may be written by `writer`, and has room for
/// what may still come; whether the journal is sound; whether the AT dialogue is recorded, and where. `runs`:
/// celld does.
void check_records(const Writer& writer, bool recording_wanted, bool runs, Findings& findings);

} // namespace celldctl
