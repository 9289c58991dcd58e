#include "support/pty_wire.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char* LINE_END = "\r\n";
constexpr int NO_LINE = -1;
constexpr std::string_view OF_THE_LINE = "\x03\x11\x13\x1a\x1c"; // VINTR, VSTART, VSTOP, VSUSP, VQUIT

std::atomic<int> module_end{NO_LINE};
std::atomic<long> to_port{0}; // bytes written on the one side and not yet read on the other
std::atomic<long> to_module{0};

bool is_of_port(int fd)
{
    return module_end != NO_LINE && fd > STDERR_FILENO && fd != module_end && ::isatty(fd) != 0;
}

/// What the call ends with, if it fails this time.
std::optional<int> failure_of(std::atomic<int>& call)
{
    errno = call.exchange(0);
    return errno == 0 ? std::nullopt : std::optional<int>(errno == next_call::NOTHING ? 0 : -1);
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's --wrap names them
extern "C" ssize_t __real_write(int fd, const void* bytes, size_t count);
extern "C" ssize_t __wrap_write(int fd, const void* bytes, size_t count)
{
    const bool counts = is_of_port(fd);
    const auto failure = counts ? failure_of(next_call::write) : std::nullopt;
    const auto done = failure ? *failure : __real_write(fd, bytes, count);
    to_module += counts ? std::max<long>(done, 0) : 0;
    return done;
}

extern "C" ssize_t __real_read(int fd, void* bytes, size_t count);
extern "C" ssize_t __wrap_read(int fd, void* bytes, size_t count)
{
    const auto done = __real_read(fd, bytes, count);
    if (!is_of_port(fd)) {
        return done;
    }
    to_port -= std::max<long>(done, 0);
    return failure_of(next_call::read).value_or(done); // what was to be read is lost then
}

// Takes all that has been sent, not only as much as the kernel has carried by now.
extern "C" int __real_tcflush(int fd, int what);
extern "C" int __wrap_tcflush(int fd, int what)
{
    const auto failure = failure_of(next_call::tcflush);
    int waiting = 0;
    while (to_module > 0 || (::ioctl(fd, FIONREAD, &waiting) == 0 && waiting < to_port)) {
        std::this_thread::yield();
    }
    to_port -= failure ? 0 : waiting;
    return failure ? *failure : __real_tcflush(fd, what);
}

extern "C" int __real_poll(pollfd* lines, nfds_t count, int timeout);
extern "C" int __wrap_poll(pollfd* lines, nfds_t count, int timeout)
{
    using port_rest::Kind;
    const bool is_wait = count == 2 && timeout > 0 && lines[1].fd >= 0;
    const bool is_rest = is_wait && lines[0].events == 0;
    port_rest::begun += is_rest ? 1 : 0;
    if (const auto failure = is_wait ? failure_of(next_call::poll) : std::nullopt) {
        return *failure;
    }
    const bool endless = is_rest ? port_rest::kind == Kind::ENDLESS : is_wait;
    const bool none = is_rest && port_rest::kind == Kind::NONE;
    return __real_poll(lines, count, endless ? -1 : none ? 0 : timeout);
}
// NOLINTEND(bugprone-reserved-identifier)

void PtyWire::plug_in(const std::filesystem::path& link)
{
    hang_up();
    std::array<char, 64> name = {};
    module_ = UniqueFd(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (::grantpt(module_.get()) != 0 || ::unlockpt(module_.get()) != 0 ||
        ::ptsname_r(module_.get(), name.data(), name.size()) != 0) {
        throw std::runtime_error("there is no pseudo-terminal");
    }
    device_ = UniqueFd(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::remove(link);
    std::filesystem::create_symlink(name.data(), link);
    module_end = module_.get();
    ++line_;
}

void PtyWire::hang_up()
{
    module_end = NO_LINE;
    device_ = UniqueFd();
    module_ = UniqueFd();
    heard_.clear();
    to_port = to_module = 0;
}

void PtyWire::say(const std::string& bytes)
{
    auto carried = bytes;
    std::erase_if(carried, [](char byte) { return OF_THE_LINE.find(byte) != std::string_view::npos; });
    to_port += static_cast<long>(carried.size());
    if (::write(module_.get(), carried.data(), carried.size()) != static_cast<ssize_t>(carried.size())) {
        throw std::runtime_error("the pseudo-terminal takes no more");
    }
}

bool PtyWire::hear(const std::function<void(const std::string& line)>& told)
{
    const bool anything = to_module > 0;
    while (to_module > 0) {
        std::array<char, 1024> buffer;
        const auto got = ::read(module_.get(), buffer.data(), buffer.size());
        if (got <= 0) {
            throw std::runtime_error("what the port has written cannot be read");
        }
        to_module -= got;
        heard_.append(buffer.data(), static_cast<std::size_t>(got));
        for (auto end = heard_.find(LINE_END); end != std::string::npos; end = heard_.find(LINE_END)) {
            const auto line = heard_.substr(0, end);
            heard_.erase(0, end + 2);
            told(line);
        }
    }
    return anything;
}

bool PtyWire::is_read()
{
    return to_port == 0;
}
