#pragma once

#include "base/event_loop.hpp"
#include "base/file_watcher.hpp"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace bench {

/// The module's USB serial port: a pseudo-terminal behind a link with a fixed name. While nobody has it open,
/// what the module says is lost, as on a USB serial device.
class PtyPort {
public:
    PtyPort(EventLoop& loop, FileWatcher& watcher, std::filesystem::path link);
    ~PtyPort();
    PtyPort(const PtyPort&) = delete;
    PtyPort& operator=(const PtyPort&) = delete;

    void on_receive(std::function<void(std::string_view)> callback) { on_receive_ = std::move(callback); }

    /// Somebody opened the terminal, or the last one closed it.
    void on_use(std::function<void(bool opened)> callback) { on_use_ = std::move(callback); }

    /// Makes the terminal and then the link; does nothing while it is there. @throws BenchError
    void attach();

    /// Removes the link and hangs up whoever has the terminal open.
    void detach();

    bool attached() const { return static_cast<bool>(master_); }
    bool in_use() const { return attached() && users_ > 0; }

    /// Never blocks: what a reader does not take stays queued up to a bound, beyond it the oldest is kept and
    /// the rest dropped.
    void send(std::string_view bytes);

private:
    void receive(short events);
    void flush();
    void count_user(bool opened);
    void last_user_left();
    void update_watch();

    EventLoop& loop_;
    FileWatcher& watcher_;
    std::filesystem::path link_;
    std::function<void(std::string_view)> on_receive_;
    std::function<void(bool)> on_use_;
    FileDescriptor master_;
    FileDescriptor
        slave_; ///< held open, or the master would report a hang-up whenever nobody else has it open
    int watch_ = -1;
    int users_ = 0;
    std::string output_;
};

} // namespace bench
