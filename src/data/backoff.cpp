#include "data/backoff.hpp"

#include <algorithm>
#include <utility>

namespace {

using Type = defs::NwFriendlyModeType;

bool is_running_timer(Type type)
{
    return type == Type::CS_BACKOFF || type == Type::PS_BACKOFF || type == Type::PDP_BACKOFF;
}

Clock::time_point end_of(std::chrono::seconds remaining, Clock::time_point now)
{
    return now + std::clamp<std::chrono::seconds>(remaining, std::chrono::seconds(0), Backoff::MAX_BACKOFF);
}

} // namespace

void Backoff::report(Type type, std::chrono::seconds remaining, Clock::time_point now)
{
    const auto end = end_of(remaining, now);
    if (is_running_timer(type)) {
        if (end <= now) {
            return; // zero seconds bar nothing
        }
        until_ = std::max(until_, end);
    }
    type_ = type;
    active_ = true;
    news_ = true;
}

void Backoff::answered(std::chrono::seconds remaining, Clock::time_point now)
{
    until_ = end_of(remaining, now);
}

bool Backoff::take_news()
{
    return std::exchange(news_, false);
}
