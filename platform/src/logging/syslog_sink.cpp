#include "syslog_sink.hpp"

#include "format.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace ecu::kova::logging {

namespace {

int syslog_priority(Level level)
{
    switch (level) {
    case Level::EMERG:
        return LOG_EMERG;
    case Level::ALERT:
        return LOG_ALERT;
    case Level::CRITICAL:
        return LOG_CRIT;
    case Level::ERROR:
        return LOG_ERR;
    case Level::WARNING:
        return LOG_WARNING;
    case Level::NOTICE:
        return LOG_NOTICE;
    case Level::INFO:
        return LOG_INFO;
    case Level::DEBUG:
        return LOG_DEBUG;
    }
    return LOG_NOTICE;
}

/// The form that syslog(3) sends (RFC 3164, 4.1): "<priority>Mmm dd hh:mm:ss celld[pid]: module: text", local
/// time.
std::string packet(const timespec& time, Level level, const std::string& module, const std::string& text)
{
    std::tm local{};
    localtime_r(&time.tv_sec, &local);
    std::array<char, 32> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%b %e %H:%M:%S", &local);
    std::string out = "<" + std::to_string(LOG_DAEMON | syslog_priority(level)) + ">";
    out.append(date.data(), length);
    out += " celld[" + std::to_string(getpid()) + "]: " + module + ": " + text;
    return out;
}

} // namespace

SyslogSink::SyslogSink(std::string path) : path_(std::move(path)) {}

SyslogSink::~SyslogSink()
{
    hang_up();
}

void SyslogSink::write(const timespec& time, Level level, const std::string& module, const std::string& text)
{
    const Patience patience(stalled_);
    const bool told = dropped_ == 0 ||
                      send_packet(packet(time, Level::WARNING, OWN_NAME, dropped_text(dropped_)), patience);
    if (told) {
        dropped_ = 0;
    }
    stalled_ = !told || !send_packet(packet(time, level, module, text), patience);
    if (stalled_) {
        ++dropped_;
    }
}

bool SyslogSink::send_packet(const std::string& packet, const Patience& patience)
{
    bool fresh = false; // a connection of before may be one to a logger that was restarted since
    while (true) {
        if (socket_ < 0) {
            if (fresh || !call()) {
                return false;
            }
            fresh = true;
        }
        if (!patience.wait_writable(socket_)) {
            return false;
        }
        if (send(socket_, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
            return true;
        }
        if (!patience.again(errno)) {
            if (errno == EMSGSIZE) {
                return false;
            }
            hang_up();
        }
    }
}

bool SyslogSink::call()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket_ >= 0 && connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        hang_up();
    }
    return socket_ >= 0;
}

void SyslogSink::hang_up()
{
    if (socket_ >= 0) {
        close(socket_);
        socket_ = -1;
    }
}

} // namespace ecu::kova::logging
