#include "main/stop_handler.hpp"

#include "modem/modem.hpp"

#include <atomic>
#include <csignal>
#include <thread>

namespace {

std::atomic<Modem*> slot{nullptr};
std::atomic<int> inside{0}; // handlers that may hold the modem
std::atomic<bool> seen{false};

static_assert(std::atomic<Modem*>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "a signal handler may touch nothing else");

void on_signal(int number)
{
    if (number != SIGINT && number != SIGTERM && number != SIGABRT) {
        return;
    }
    inside.fetch_add(1);
    seen.store(true); // before the slot is looked at: see Watch
    if (Modem* const modem = slot.exchange(nullptr)) {
        modem->stop();
    }
    inside.fetch_sub(1);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGABRT, SIG_DFL);
}

} // namespace

namespace stop_handler {

void install()
{
    std::signal(SIGINT, on_signal);
    std::signal(SIGTERM, on_signal);
}

bool signalled()
{
    return seen.load();
}

Watch::Watch(Modem& modem)
{
    slot.store(&modem);
    if (seen.load()) {
        modem.stop();
    }
}

Watch::~Watch()
{
    slot.store(nullptr);
    while (inside.load() != 0) {
        std::this_thread::yield();
    }
}

} // namespace stop_handler
