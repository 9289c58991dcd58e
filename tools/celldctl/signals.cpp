#include "signals.hpp"

#include <ctime>

namespace celldctl {

Signals::Signals()
{
    sigemptyset(&set_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        also(number);
    }
}

void Signals::also(int number)
{
    sigaddset(&set_, number);
    pthread_sigmask(SIG_BLOCK, &set_, nullptr);
}

int Signals::next(std::chrono::milliseconds timeout)
{
    if (ending_ != 0) {
        return ending_;
    }
    const auto seconds = std::chrono::floor<std::chrono::seconds>(timeout);
    const timespec limit{seconds.count(), std::chrono::nanoseconds(timeout - seconds).count()};
    const int number = sigtimedwait(&set_, nullptr, &limit);
    if (number == SIGINT || number == SIGTERM || number == SIGHUP) {
        ending_ = number;
    }
    return number > 0 ? number : 0;
}

bool Signals::wait(std::chrono::milliseconds timeout)
{
    static_cast<void>(next(timeout));
    return ending_ != 0;
}

} // namespace celldctl
