#pragma once

#include <cerrno>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <system_error>

namespace files {

/// What is at a path, links followed: as std::filesystem::status, which on a 32-bit Debian 12 knows nothing
/// of a file whose time is behind January 2038. What is not there, and what cannot be looked at, sets
/// `error`. Any thread.
inline std::filesystem::file_status status(const std::string& path, std::error_code& error)
{
    using std::filesystem::file_status;
    using std::filesystem::file_type;
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        error = std::error_code(errno, std::generic_category());
        return file_status(errno == ENOENT || errno == ENOTDIR ? file_type::not_found : file_type::none);
    }
    error.clear();
    if (S_ISREG(found.st_mode)) {
        return file_status(file_type::regular);
    }
    return file_status(S_ISDIR(found.st_mode) ? file_type::directory : file_type::unknown);
}

} // namespace files
