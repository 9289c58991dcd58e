#include "timer/wakeup.hpp"

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

Wakeup::Wakeup() : fd_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

Wakeup::~Wakeup()
{
    if (fd_ != -1) {
        ::close(fd_);
    }
}

void Wakeup::wake() noexcept
{
    const int errno_before = errno; // of the code that a signal handler interrupts
    woken_.store(true);
    const std::uint64_t one = 1;
    (void)!::write(fd_, &one, sizeof one); // fails only when the counter is full, and then it is readable
    errno = errno_before;
}

void Wakeup::reset() noexcept
{
    woken_.store(false); // first: a wake-up that comes meanwhile stays
    std::uint64_t count = 0;
    (void)!::read(fd_, &count, sizeof count); // empty when nobody woke it
}
