#include "output.hpp"

#include "exit_status.hpp"

#include <cerrno>
#include <iostream>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace celldctl {

void Output::write(std::string_view text)
{
    while (!text.empty()) {
        const auto count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
            written_ = true;
        } else if (errno == EAGAIN) { // somebody else made it so, and waiting is what we want
            pollfd room{STDOUT_FILENO, POLLOUT, 0};
            static_cast<void>(poll(&room, 1, -1));
        } else if (errno != EINTR) {
            fail(errno);
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
