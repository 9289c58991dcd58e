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
    if (!unheeded_.exchange(false)) {
        return;
    }
    port_.resume();
    wakeup_.reset();
    // A stop may have come since the loop looked for one: what it overtakes stays so, up to the power-off.
    // Asked behind the resumption, so that none is lost between the two.
    if (stop_wanted()) {
        overtake();
    }
}
