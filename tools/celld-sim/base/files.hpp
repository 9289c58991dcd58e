#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace bench {

/// What keeps the bench from starting or going on; the text says what was tried and the system's reason.
class BenchError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `what`, ": " and the text of the current errno.
[[noreturn]] void throw_errno(const std::string& what);

/// Owns a file descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset();

private:
    int fd_ = -1;
};

/// The whole file, at most 64 KiB of it; nothing when it cannot be read.
std::optional<std::string> read_file(const std::filesystem::path& path);

/// Replaces `path` in one step: a reader sees the old text or the new one, never half of it, and a watch for
/// closed files does not fire. @throws BenchError
void write_atomically(const std::filesystem::path& path, std::string_view text);

/// Makes `link` point to `target` in one step. @throws BenchError
void link_atomically(const std::filesystem::path& target, const std::filesystem::path& link);

} // namespace bench
