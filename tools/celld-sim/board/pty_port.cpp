#include "board/pty_port.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::size_t MAX_OUTPUT = 64UL * 1024UL; ///< a reader this far behind has stopped reading
constexpr std::size_t READ_SIZE = 4096;           ///< the kernel's terminal buffer

/// No echo and no translation, or the terminal itself would answer the module.
void make_raw(int fd)
{
    termios line{};
    if (::tcgetattr(fd, &line) == 0) {
        ::cfmakeraw(&line);
        ::tcsetattr(fd, TCSANOW, &line);
    }
}

std::string terminal_name(int master)
{
    std::array<char, 128> name{};
    if (::ptsname_r(master, name.data(), name.size()) != 0) {
        throw_errno("ptsname_r failed");
    }
    return name.data();
}

} // namespace

PtyPort::PtyPort(EventLoop& loop, FileWatcher& watcher, std::filesystem::path link)
    : loop_(loop), watcher_(watcher), link_(std::move(link))
{
    std::filesystem::create_directories(link_.parent_path());
    std::error_code absent;
    std::filesystem::remove(link_, absent); // a killed run may have left one
}

PtyPort::~PtyPort()
{
    detach();
}

void PtyPort::attach()
{
    if (attached()) {
        return;
    }
    FileDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!master || ::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0) {
        throw_errno("unable to make a pseudo-terminal");
    }
    const auto name = terminal_name(master.get());
    FileDescriptor slave(::open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!slave) {
        throw_errno("unable to open " + name);
    }
    make_raw(slave.get());
    users_ = 0;
    output_.clear();
    watch_ = watcher_.add(name, IN_OPEN | IN_CLOSE, [this](std::uint32_t mask, const std::string&) {
        if ((mask & IN_Q_OVERFLOW) != 0) {
            return;
        }
        count_user((mask & IN_OPEN) != 0);
    });
    master_ = std::move(master);
    slave_ = std::move(slave);
    update_watch();
    link_atomically(name, link_);
}

void PtyPort::detach()
{
    if (!attached()) {
        return;
    }
    std::error_code gone;
    std::filesystem::remove(link_, gone);
    watcher_.remove(watch_);
    loop_.unwatch(master_.get());
    slave_.reset();
    master_.reset();
}

void PtyPort::count_user(bool opened)
{
    const bool before = users_ > 0;
    users_ = std::max(0, users_ + (opened ? 1 : -1));
    if (users_ == 0) {
        last_user_left();
    }
    if (on_use_ && before != (users_ > 0)) {
        on_use_(users_ > 0);
    }
}

void PtyPort::last_user_left()
{
    if (slave_) {
        ::ioctl(slave_.get(),
                TIOCNXCL); // a serial device loses its exclusive mark with the last close; ours stays open
        ::tcflush(slave_.get(), TCIFLUSH); // unread answers go; what was sent to the module still arrives
        make_raw(slave_.get());
    }
    output_.clear();
}

void PtyPort::send(std::string_view bytes)
{
    if (!attached() || users_ == 0) {
        return;
    }
    output_ += bytes.substr(0, MAX_OUTPUT - std::min(MAX_OUTPUT, output_.size()));
    flush();
    update_watch();
}

void PtyPort::flush()
{
    while (!output_.empty()) {
        const auto count = ::write(master_.get(), output_.data(), output_.size());
        if (count <= 0) {
            return;
        }
        output_.erase(0, static_cast<std::size_t>(count));
    }
}

void PtyPort::update_watch()
{
    const auto events = static_cast<short>(output_.empty() ? POLLIN : POLLIN | POLLOUT);
    loop_.watch(master_.get(), events, [this](short came) { receive(came); });
}

void PtyPort::receive(short events)
{
    if ((events & POLLOUT) != 0) {
        flush();
        update_watch();
    }
    if ((events & POLLIN) == 0) {
        return;
    }
    std::array<char, READ_SIZE> buffer;
    const auto count = ::read(master_.get(), buffer.data(), buffer.size());
    if (count > 0 && on_receive_) {
        on_receive_({buffer.data(), static_cast<std::size_t>(count)});
    }
}

} // namespace bench
