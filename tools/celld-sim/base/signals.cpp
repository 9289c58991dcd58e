#include "base/signals.hpp"

#include <csignal>
#include <sys/signalfd.h>

namespace bench {

FileDescriptor open_signals()
{
    sigset_t ending;
    ::sigemptyset(&ending);
    ::sigaddset(&ending, SIGINT);
    ::sigaddset(&ending, SIGTERM);
    if (::pthread_sigmask(SIG_BLOCK, &ending, nullptr) != 0) {
        throw_errno("unable to block signals");
    }
    FileDescriptor fd(::signalfd(-1, &ending, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!fd) {
        throw_errno("signalfd failed");
    }
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, nullptr);
    return fd;
}

} // namespace bench
