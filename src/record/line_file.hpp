#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

/// A text file that never grows beyond its limit: when it is full it becomes "<path>.1", in whose place the
/// one before goes, and a new one begins. So there are two, of `limit` bytes each at most. One thread.
class LineFile {
public:
    struct Settings {
        std::string path;  ///< absolute; below CELLD_ROOT
        std::size_t limit; ///< bytes of one file
        mode_t mode;       ///< of a new file
        bool durable;      ///< whether what was appended is on the disk before `append` returns
    };

    explicit LineFile(Settings settings) : settings_(std::move(settings)) {}

    const std::string& path() const { return settings_.path; }

    /// Appends whole lines, each with its line end. A missing folder is made. The last line of a power cut,
    /// which may be torn, is ended first. What cannot be appended whole is taken back.
    /// @return what went wrong, with the system's reason; nothing when it is written.
    std::optional<std::string> append(std::string_view lines) const;

private:
    Settings settings_;
};
