#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>
#include <string>

/// A temporary directory that stands for "/" (CELLD_ROOT) as long as it lives. One at a time, on the main
/// thread.
class TempRoot {
public:
    TempRoot()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "celld-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary directory " + pattern);
        }
        directory_ = pattern;
        ::setenv("CELLD_ROOT", pattern.c_str(),
                 1); // NOLINT(concurrency-mt-unsafe): before the test's threads
    }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;
    ~TempRoot()
    {
        ::unsetenv("CELLD_ROOT"); // NOLINT(concurrency-mt-unsafe): after the test's threads
        std::error_code ignored;  // a leftover directory fails no test
        std::filesystem::remove_all(directory_, ignored);
    }

    /// Where an absolute path is in truth.
    std::filesystem::path path(const std::string& absolute) const { return directory_.string() + absolute; }

    void write(const std::string& absolute, const std::string& text) const
    {
        std::filesystem::create_directories(path(absolute).parent_path());
        std::ofstream file(path(absolute), std::ios::binary | std::ios::trunc);
        file << text << std::flush;
        if (!file) {
            throw std::runtime_error("cannot write " + absolute);
        }
    }

    /// Empty for a file that is not there.
    std::string read(const std::string& absolute) const
    {
        std::ifstream file(path(absolute), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    bool exists(const std::string& absolute) const { return std::filesystem::exists(path(absolute)); }
    void remove(const std::string& absolute) const { std::filesystem::remove(path(absolute)); }

private:
    std::filesystem::path directory_;
};
