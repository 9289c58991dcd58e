#include "record/line_file.hpp"

#include "utils/strings.hpp"
#include "utils/unique_fd.hpp"

#include <ecu/kova/root.hpp>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Not followed, since root writes it; not waited for, should somebody have put a pipe there.
constexpr int FLAGS = O_RDWR | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

struct Opened {
    UniqueFd file;
    off_t size = 0;
    bool is_new = false;
};

std::optional<std::string> open(const std::string& path, mode_t mode, Opened& opened)
{
    opened.file = UniqueFd(::open(path.c_str(), FLAGS));
    opened.is_new = !opened.file.is_open() && errno == ENOENT;
    if (opened.is_new) {
        std::error_code ignored; // the open says it
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
        opened.file = UniqueFd(::open(path.c_str(), FLAGS | O_CREAT, mode));
    }
    struct stat facts {};
    if (!opened.file.is_open() || ::fstat(opened.file.get(), &facts) != 0) {
        return utils::errno_text(path);
    }
    if (!S_ISREG(facts.st_mode)) {
        return path + " is no regular file";
    }
    if (opened.is_new) {
        static_cast<void>(::fchmod(opened.file.get(), mode)); // whatever the service's umask
    }
    opened.size = facts.st_size;
    return std::nullopt;
}

bool ends_torn(const Opened& opened)
{
    char last = '\n';
    return opened.size > 0 && ::pread(opened.file.get(), &last, 1, opened.size - 1) == 1 && last != '\n';
}

bool write_all(int file, std::string_view text)
{
    while (!text.empty()) {
        const auto written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// So that a new name survives a power cut too; a file system that cannot do it does without.
void sync_folder(const std::string& path)
{
    const UniqueFd folder(
        ::open(std::filesystem::path(path).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.is_open()) {
        static_cast<void>(::fsync(folder.get()));
    }
}

} // namespace

std::optional<std::string> LineFile::append(std::string_view lines) const
{
    const std::string path = ecu::kova::rooted(settings_.path);
    Opened opened;
    if (auto wrong = open(path, settings_.mode, opened)) {
        return wrong;
    }
    if (opened.size > 0 && static_cast<std::size_t>(opened.size) + lines.size() > settings_.limit) {
        if (::rename(path.c_str(), (path + ".1").c_str()) != 0) {
            return utils::errno_text(path + ".1");
        }
        if (auto wrong = open(path, settings_.mode, opened)) {
            return wrong;
        }
    }
    const std::string text = (ends_torn(opened) ? "\n" : "") + std::string(lines);
    const int file = opened.file.get();
    if (!write_all(file, text) || (settings_.durable && ::fdatasync(file) != 0)) {
        auto wrong = utils::errno_text(path);
        static_cast<void>(::ftruncate(file, opened.size)); // a reader drops what is left of it
        return wrong;
    }
    if (opened.is_new && settings_.durable) {
        sync_folder(path);
    }
    return std::nullopt;
}
