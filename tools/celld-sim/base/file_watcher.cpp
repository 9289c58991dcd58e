#include "base/file_watcher.hpp"

#include <array>
#include <cstring>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::size_t BUFFER_SIZE =
    16UL * 1024UL; ///< several hundred events; one needs at most 16 + NAME_MAX + 1 bytes

} // namespace

FileWatcher::FileWatcher(EventLoop& loop) : loop_(loop), inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    if (!inotify_) {
        throw_errno("inotify_init1 failed");
    }
    loop_.watch(inotify_.get(), POLLIN, [this](short) { read_events(); });
}

FileWatcher::~FileWatcher()
{
    loop_.unwatch(inotify_.get());
}

int FileWatcher::add(const std::filesystem::path& path, std::uint32_t mask, Callback callback)
{
    const int id = ::inotify_add_watch(inotify_.get(), path.c_str(), mask);
    if (id < 0) {
        throw_errno("unable to watch " + path.string());
    }
    callbacks_.insert_or_assign(id, std::move(callback));
    return id;
}

void FileWatcher::remove(int id)
{
    if (callbacks_.erase(id) != 0) {
        ::inotify_rm_watch(inotify_.get(),
                           id); // fails when the watched file is gone already, which is as good
    }
}

void FileWatcher::read_events()
{
    std::array<char, BUFFER_SIZE> buffer;
    const auto count = ::read(inotify_.get(), buffer.data(), buffer.size());
    std::size_t at = 0;
    while (count > 0 && at + sizeof(inotify_event) <= static_cast<std::size_t>(count)) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event); // the name behind it is padded with zeros
        const std::string name = event.len == 0 ? "" : buffer.data() + at + sizeof event;
        deliver(event.wd, event.mask, name);
        at += sizeof event + event.len;
    }
    if (batch_end_) {
        batch_end_();
    }
}

void FileWatcher::deliver(int id, std::uint32_t mask, const std::string& name)
{
    if ((mask & IN_Q_OVERFLOW) != 0) {
        for (const auto& [watch, callback] : std::map(callbacks_)) {
            callback(mask, ""); // events were dropped: everybody looks again
        }
        return;
    }
    const auto found = callbacks_.find(id);
    if (found != callbacks_.end()) {
        const auto callback = found->second;
        callback(mask, name);
    }
}

} // namespace bench
