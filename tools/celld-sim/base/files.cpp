#include "base/files.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace bench {
namespace {

constexpr std::size_t MAX_FILE_SIZE = 64UL * 1024UL; ///< far above anything the tree or the settings hold

std::filesystem::path beside(const std::filesystem::path& path)
{
    return path.parent_path() / ("." + path.filename().string() + ".new");
}

void rename_over(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        throw_errno("unable to rename to " + to.string());
    }
}

} // namespace

void throw_errno(const std::string& what)
{
    throw BenchError(what + ": " + std::generic_category().message(errno));
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    if (this != &other) {
        reset();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

void FileDescriptor::reset()
{
    if (fd_ >= 0) {
        ::close(std::exchange(fd_, -1));
    }
}

std::optional<std::string> read_file(const std::filesystem::path& path)
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        return std::nullopt;
    }
    std::string text(MAX_FILE_SIZE, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const auto count = ::read(file.get(), text.data() + size, text.size() - size);
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        size += static_cast<std::size_t>(count);
    }
    text.resize(size);
    return text;
}

void write_atomically(const std::filesystem::path& path, std::string_view text)
{
    const auto draft = beside(path);
    FileDescriptor file(::open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file) {
        throw_errno("unable to write " + draft.string());
    }
    while (!text.empty()) {
        const auto count = ::write(file.get(), text.data(), text.size());
        if (count < 0) {
            throw_errno("unable to write " + draft.string());
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    file.reset();
    rename_over(draft, path);
}

void link_atomically(const std::filesystem::path& target, const std::filesystem::path& link)
{
    const auto draft = beside(link);
    ::unlink(draft.c_str()); // left over from a run that was killed; absent otherwise
    if (::symlink(target.c_str(), draft.c_str()) != 0) {
        throw_errno("unable to link " + draft.string());
    }
    rename_over(draft, link);
}

} // namespace bench
