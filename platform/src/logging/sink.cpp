#include "sink.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

namespace ecu::kova::logging {

namespace {

// How long a full non-blocking pipe may hold up the caller before the rest of the record is dropped.
constexpr int STALLED_READER_MS = 100;

/// Keeps a SIGPIPE that this thread causes from being delivered: a daemon whose log reader has gone still has
/// a module to switch off.
class SigpipeHeld {
public:
    SigpipeHeld()
    {
        sigemptyset(&sigpipe_);
        sigaddset(&sigpipe_, SIGPIPE);
        sigset_t pending{};
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &sigpipe_, &before_);
    }
    SigpipeHeld(const SigpipeHeld&) = delete;
    SigpipeHeld& operator=(const SigpipeHeld&) = delete;
    ~SigpipeHeld()
    {
        const timespec at_once{};
        if (raised_ && !was_pending_) {
            static_cast<void>(sigtimedwait(&sigpipe_, nullptr, &at_once));
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    void raised() { raised_ = true; }

private:
    sigset_t sigpipe_{};
    sigset_t before_{};
    bool was_pending_ = false;
    bool raised_ = false;
};

bool wait_writable(int descriptor)
{
    pollfd wanted{descriptor, POLLOUT, 0};
    return poll(&wanted, 1, STALLED_READER_MS) > 0;
}

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

} // namespace

std::string escaped(std::string_view text)
{
    constexpr const char* DIGITS = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\n' || (byte >= 0x20 && byte < 0x7f)) {
            out += character;
        } else {
            out += "\\x";
            out += DIGITS[byte >> 4U];
            out += DIGITS[byte & 0xfU];
        }
    }
    return out;
}

std::string stream_line(const timespec& time, Level level, const std::string& module, const std::string& text)
{
    constexpr long NS_PER_MS = 1'000'000;
    std::tm utc{};
    gmtime_r(&time.tv_sec, &utc);
    std::array<char, 64> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 8> fraction{};
    static_cast<void>(
        std::snprintf(fraction.data(), fraction.size(), ".%03ldZ", (time.tv_nsec / NS_PER_MS) % 1000));
    std::string line(date.data(), length);
    line += fraction.data();
    line += ' ';
    line += to_str(level);
    line += ' ';
    line += module;
    line += ": ";
    line += text;
    line += '\n';
    return line;
}

void write_to_stream(int descriptor, std::string_view line)
{
    SigpipeHeld sigpipe;
    while (!line.empty()) {
        const ssize_t written = write(descriptor, line.data(), line.size());
        if (written > 0) {
            line.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        const int error = written < 0 ? errno : 0;
        if (error == EPIPE) {
            sigpipe.raised();
        }
        if (error != EINTR && !(error == EAGAIN && wait_writable(descriptor))) {
            return;
        }
    }
}

void write_to_syslog(Level level, const std::string& module, const std::string& text)
{
    static const bool opened = [] {
        openlog("celld", LOG_PID, LOG_DAEMON);
        return true;
    }();
    static_cast<void>(opened);
    syslog(LOG_DAEMON | syslog_priority(level), "%s: %s", module.c_str(), text.c_str());
}

} // namespace ecu::kova::logging
