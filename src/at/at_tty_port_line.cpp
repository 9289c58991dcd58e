#include "at/at_tty_port.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>

namespace {

const auto& port_log = ecu::kova::logging::module("celld.atport");

constexpr speed_t BAUD_RATE = B115200;

PortResult failed(const char* what)
{
    return PortResult::err(utils::errno_text(what));
}

// Raw 8N1 without hardware flow control (termios(3)); what is not named stays as the driver has it.
void make_raw(termios& line)
{
    line.c_iflag &= ~static_cast<tcflag_t>(INPCK | IGNCR | ICRNL | IUCLC);
    line.c_iflag |= IGNPAR | IXON | IXANY | IXOFF; // software flow control is wanted; kept
    line.c_oflag &= ~static_cast<tcflag_t>(OPOST | OLCUC | ONLCR | OCRNL | ONLRET);
    line.c_cflag &= ~static_cast<tcflag_t>(CBAUD | CSIZE | CSTOPB | PARENB | CBAUDEX | CRTSCTS);
    line.c_cflag |= CS8 | CREAD | CLOCAL;
    line.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHOE | ECHONL);
    line.c_cc[VEOF] = 1; // shares its place with VMIN on some systems; all three are set
    line.c_cc[VTIME] = 0;
    line.c_cc[VMIN] = 1;
}

PortResult set_up_line(int fd)
{
    if (::ioctl(fd, TIOCEXCL) == -1) {
        return failed("ioctl(TIOCEXCL) error");
    }
    if (::tcflush(fd, TCIOFLUSH) == -1) {
        return failed("tcflush() error");
    }
    termios line = {};
    if (::tcgetattr(fd, &line) == -1) {
        return failed("tcgetattr() error");
    }
    make_raw(line);
    if (::cfsetispeed(&line, BAUD_RATE) == -1) {
        return failed("cfsetispeed() error");
    }
    if (::cfsetospeed(&line, BAUD_RATE) == -1) {
        return failed("cfsetospeed() error");
    }
    if (::tcsetattr(fd, TCSANOW, &line) == -1) {
        return failed("tcsetattr() error");
    }
    return PortResult::ok(true);
}

} // namespace

// Non-blocking, so that neither a line without carrier nor a module that has sent XOFF can hold a thread up:
// every wait on the descriptor is a poll with its own limit.
PortResult AtTtyPort::open()
{
    int fd = -1;
    {
        const threads::MutexLock held(port_mutex_);
        fd_ =
            UniqueFd(::open(ecu::kova::rooted(device_).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        fd = fd_.get();
    }
    return fd == -1 ? failed("couldn't open modem") : set_up_line(fd);
}

// The descriptor is taken out under the lock and closed without it: closing a line may drain it for long.
bool AtTtyPort::close()
{
    UniqueFd closing;
    {
        const threads::MutexLock held(port_mutex_);
        closing = std::move(fd_);
    }
    if (!closing.is_open()) {
        return true;
    }
    // A pseudo-terminal stays exclusive past its close while the other end is open, and would refuse the next
    // open.
    (void)::ioctl(closing.get(), TIOCNXCL);
    if (closing.close() != 0) {
        port_log.error(utils::errno_text("Unable to close AT port"));
        return false;
    }
    return true;
}
