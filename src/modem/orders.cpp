#include "modem/orders.hpp"

void Orders::stop() noexcept
{
    stop_.store(true);
    overtake();
}

bool Orders::radio_silence(bool on)
{
    const bool news = silence_.exchange(on) != on;
    if (news && on) {
        overtake();
    }
    return news;
}

// Behind the order itself: whoever is overtaken finds it.
void Orders::overtake() noexcept
{
    port_.interrupt();
    wakeup_.wake();
    unheeded_.store(true);
}

void Orders::heed()
{
    if (unheeded_.exchange(false)) {
        port_.resume();
        wakeup_.reset();
    }
}
