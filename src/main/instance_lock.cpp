#include "main/instance_lock.hpp"

#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.main");

constexpr const char* LOCK_PATH = "/run/celld.lock";
constexpr const char* UNGUARDED = "A second celld would not be noticed, no lock can be made: ";
constexpr mode_t READABLE_BY_ALL = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

/// The process id that the holder has left in the file; empty before it has.
std::string holder(int file)
{
    std::array<char, 32> text{};
    const auto count = ::pread(file, text.data(), text.size(), 0);
    const std::string read(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return read.substr(0, read.find_first_not_of("0123456789"));
}

bool write_own_id(int file)
{
    const std::string id = std::to_string(::getpid()) + '\n';
    return ::ftruncate(file, 0) == 0 &&
           ::pwrite(file, id.data(), id.size(), 0) == static_cast<ssize_t>(id.size());
}

} // namespace

InstanceLock::InstanceLock()
{
    const std::string path = ecu::kova::rooted(LOCK_PATH);
    // Not truncated: it may be the holder's.
    UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, READABLE_BY_ALL));
    if (!file.is_open()) {
        LOG.warning(UNGUARDED, utils::errno_text(path));
        return;
    }
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            LOG.warning(UNGUARDED, utils::errno_text(path));
            return;
        }
        const std::string id = holder(file.get());
        throw std::runtime_error("another celld is running" + (id.empty() ? "" : ", process " + id) + " (" +
                                 path + ")");
    }
    if (!write_own_id(file.get())) {
        LOG.warning("A second celld cannot name this one's process: ", utils::errno_text(path));
    }
    file_ = std::move(file);
}
