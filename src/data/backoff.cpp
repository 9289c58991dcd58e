#include "data/backoff.hpp"

#include <algorithm>
#include <utility>

void Backoff::report(defs::NwFriendlyModeType type, std::chrono::seconds remaining, Clock::time_point now)
{
    type_ = type;
    active_ = true;
    news_ = true;
    until_ = now + std::clamp<std::chrono::seconds>(remaining, std::chrono::seconds(0), MAX_BACKOFF);
}

bool Backoff::take_news()
{
    return std::exchange(news_, false);
}
