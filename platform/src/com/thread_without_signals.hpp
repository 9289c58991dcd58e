#pragma once

#include <csignal>
#include <thread>
#include <utility>

namespace ecu::kova::com {

/// A thread that takes no signals: the process's handlers stay with the main thread, and a SIGPIPE that a
/// library causes on the thread is never delivered.
template <class Body>
std::thread thread_without_signals(Body body)
{
    sigset_t all{};
    sigset_t before{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::move(body));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

} // namespace ecu::kova::com
