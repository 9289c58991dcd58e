#include "feed.hpp"

#include "timer/wall_clock.hpp"

#include <utility>

namespace celldctl {

namespace {

constexpr std::size_t MOST_MESSAGES = 10'000;
constexpr std::size_t MOST_BYTES = 4'000'000; // of topics and payloads

std::size_t size_of(const std::string& topic, const ecu::kova::com::Message& message)
{
    return topic.size() + message.payload().size();
}

} // namespace

void Feed::message(const std::string& topic, const ecu::kova::com::Message& message)
{
    const auto now = timer::wall_now();
    const threads::MutexLock lock(mutex_);
    const auto size = size_of(topic, message);
    if (heard_.size() >= MOST_MESSAGES || bytes_ + size > MOST_BYTES) {
        ++dropped_;
        return;
    }
    bytes_ += size;
    heard_.push_back({now, topic, message});
}

std::optional<Heard> Feed::next()
{
    const threads::MutexLock lock(mutex_);
    if (heard_.empty()) {
        return std::nullopt;
    }
    std::optional<Heard> first = std::move(heard_.front());
    heard_.pop_front();
    bytes_ -= size_of(first->topic, first->message);
    return first;
}

std::uint64_t Feed::take_dropped()
{
    const threads::MutexLock lock(mutex_);
    return std::exchange(dropped_, 0);
}

} // namespace celldctl
