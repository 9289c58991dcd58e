#pragma once

#include "base/event_loop.hpp"
#include "base/files.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace bench {

/// inotify(7) on the event loop. Events come in the order in which they happened; after each batch read from
/// the kernel the batch end is told, so that a listener can act once on several writes.
class FileWatcher {
public:
    /// `mask` holds the inotify bits, `name` the file in a watched directory (empty for the watched file
    /// itself).
    using Callback = std::function<void(std::uint32_t mask, const std::string& name)>;

    /// @throws BenchError when the kernel refuses
    explicit FileWatcher(EventLoop& loop);
    ~FileWatcher();
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

    /// @return the id for remove(). @throws BenchError when the path cannot be watched
    int add(const std::filesystem::path& path, std::uint32_t mask, Callback callback);
    void remove(int id);

    void on_batch_end(std::function<void()> callback) { batch_end_ = std::move(callback); }

private:
    void read_events();
    void deliver(int id, std::uint32_t mask, const std::string& name);

    EventLoop& loop_;
    FileDescriptor inotify_;
    std::map<int, Callback> callbacks_;
    std::function<void()> batch_end_;
};

} // namespace bench
