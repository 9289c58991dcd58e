#include "main/hangup.hpp"

#include <csignal>
#include <ctime>

namespace {

sigset_t only_hangup()
{
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGHUP);
    return signals;
}

} // namespace

namespace hangup {

void hold()
{
    const sigset_t signals = only_hangup();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool has_come()
{
    const sigset_t signals = only_hangup();
    const timespec at_once{};
    return sigtimedwait(&signals, nullptr, &at_once) == SIGHUP;
}

} // namespace hangup
