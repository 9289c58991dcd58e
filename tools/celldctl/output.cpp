#include "output.hpp"

#include "exit_status.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <iostream>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace celldctl {

namespace {

constexpr int LOOK_AGAIN_MS = 100;

/// One that is blocked (see Signals) and waits; 0 without.
int ending_signal()
{
    sigset_t pending{};
    sigpending(&pending);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        if (sigismember(&pending, number) == 1) {
            return number;
        }
    }
    return 0;
}

} // namespace

void Output::write(std::string_view text)
{
    while (!text.empty()) {
        wait_for_room();
        // A pipe that has room at all has it for so much (pipe(7)): the write does not wait.
        const auto count = ::write(STDOUT_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
            written_ = true;
        } else if (errno != EINTR && errno != EAGAIN) {
            fail(errno);
        }
    }
}

/// Also over when there is an error to be seen by writing.
void Output::wait_for_room()
{
    pollfd room{STDOUT_FILENO, POLLOUT, 0};
    while (poll(&room, 1, LOOK_AGAIN_MS) == 0) {
        if (const int number = ending_signal(); number != 0) {
            throw Failure(BY_SIGNAL + number, "");
        }
    }
}

void Output::check_reader() const
{
    pollfd pipe{STDOUT_FILENO, 0, 0};
    if (poll(&pipe, 1, 0) > 0 && (pipe.revents & (POLLERR | POLLNVAL)) != 0) {
        fail((pipe.revents & POLLNVAL) != 0 ? EBADF : EPIPE);
    }
}

void Output::fail(int error) const
{
    const bool has_had_enough = error == EPIPE && written_;
    throw Failure(OUTPUT_GONE, has_had_enough ? std::string()
                                              : "standard output cannot be written: " +
                                                    std::generic_category().message(error));
}

void complain(std::string_view text)
{
    std::cerr << "celldctl: " << text << std::endl;
}

} // namespace celldctl
