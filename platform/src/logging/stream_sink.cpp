#include "stream_sink.hpp"

#include "format.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ecu::kova::logging {

namespace {

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

/// The stream as something that is written to without waiting. A descriptor's flags are shared with every
/// process that has inherited it, so O_NONBLOCK is not set on it: a pipe or a terminal is opened once more, a
/// socket is asked for each call. Where neither can be, no more is written than fits behind a poll(2) that
/// says so.
class Unblocked {
public:
    explicit Unblocked(int descriptor) : descriptor_(descriptor)
    {
        struct stat status {};
        if (fstat(descriptor, &status) != 0) {
            return;
        }
        is_socket_ = S_ISSOCK(status.st_mode);
        may_block_ = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
        if (may_block_) {
            const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
            own_ = open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        }
    }
    Unblocked(const Unblocked&) = delete;
    Unblocked& operator=(const Unblocked&) = delete;
    ~Unblocked()
    {
        if (own_ >= 0) {
            close(own_);
        }
    }

    int descriptor() const { return own_ >= 0 ? own_ : descriptor_; }

    ssize_t write_some(std::string_view text) const
    {
        if (is_socket_) {
            return send(descriptor_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
        const bool careful = may_block_ && own_ < 0;
        return write(descriptor(), text.data(),
                     careful ? std::min<std::size_t>(text.size(), PIPE_BUF) : text.size());
    }

private:
    int descriptor_;
    int own_ = -1;
    bool is_socket_ = false;
    bool may_block_ = false;
};

/// How many bytes of the text left before the reader stopped or `patience` was at its end.
std::size_t write_in_time(int descriptor, std::string_view text, const Patience& patience)
{
    const Unblocked output(descriptor);
    SigpipeHeld sigpipe;
    std::size_t sent = 0;
    while (sent < text.size() && patience.wait_writable(output.descriptor())) {
        const ssize_t written = output.write_some(text.substr(sent));
        if (written > 0) {
            sent += static_cast<std::size_t>(written);
        } else if (written == 0 || !patience.again(errno)) {
            if (written < 0 && errno == EPIPE) {
                sigpipe.raised();
            }
            break;
        }
    }
    return sent;
}

} // namespace

void StreamSink::write(const timespec& time, std::string_view line)
{
    const Patience patience(stalled_);
    stalled_ = !put_all(time, line, patience);
    if (stalled_) {
        ++dropped_;
    } else {
        dropped_ = 0;
    }
}

bool StreamSink::put_all(const timespec& time, std::string_view line, const Patience& patience)
{
    if (cut_) {
        if (!put("\n", patience)) {
            return false;
        }
        cut_ = false;
    }
    if (dropped_ != 0 &&
        !put(stream_line(time, Level::WARNING, OWN_NAME, dropped_text(dropped_)), patience)) {
        return false;
    }
    dropped_ = 0;
    return put(line, patience);
}

bool StreamSink::put(std::string_view text, const Patience& patience)
{
    const std::size_t sent = write_in_time(descriptor_, text, patience);
    cut_ = cut_ || (sent > 0 && sent < text.size());
    return sent == text.size();
}

} // namespace ecu::kova::logging
