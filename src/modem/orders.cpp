#include "modem/orders.hpp"

void Orders::stop() noexcept
{
    stop_.store(true);
    wakeup_.wake();
    unheeded_.store(true);
}

bool Orders::radio_silence(bool on)
{
    const bool news = silence_.exchange(on) != on;
    if (news && on) {
        wakeup_.wake();
        unheeded_.store(true);
    }
    return news;
}

void Orders::heed()
{
    if (unheeded_.exchange(false)) {
        wakeup_.reset();
    }
}
