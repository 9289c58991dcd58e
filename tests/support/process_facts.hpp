#pragma once

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>

/// How many threads and descriptors a process has, by what proc(5) shows; none when it has gone.
struct ProcessFacts {
    std::size_t threads = 0;
    std::size_t descriptors =
        0; ///< without files of the journal and the recording: open while they are written

    bool operator==(const ProcessFacts&) const = default;

    /// `process`: a number, or "self".
    static ProcessFacts of(const std::string& process)
    {
        namespace fs = std::filesystem;
        const fs::path folder = "/proc/" + process;
        std::error_code gone;
        const fs::directory_iterator threads(folder / "task", gone);
        const fs::directory_iterator files(folder / "fd", gone);
        const auto lasts = [](const fs::directory_entry& entry) {
            std::error_code closed; // meanwhile
            const auto target = fs::read_symlink(entry.path(), closed).string();
            return !closed && target.find("/var/lib/celld") == std::string::npos;
        };
        return {static_cast<std::size_t>(std::distance(begin(threads), end(threads))),
                static_cast<std::size_t>(std::count_if(begin(files), end(files), lasts))};
    }
};
