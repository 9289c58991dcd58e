#include "utils/lasting_failure.hpp"

namespace {

constexpr std::chrono::hours REMINDER{1};

std::int64_t seconds_between(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::floor<std::chrono::seconds>(to - from).count();
}

} // namespace

bool LastingFailure::is_told()
{
    const auto now = clock_.now();
    if (count_ == 0) {
        since_ = now;
    } else if (now - told_ < REMINDER) {
        ++count_;
        return false;
    } else {
        log_.write(level_, "Failed ", count_, " times in ", seconds_between(since_, now), " s: ", what_);
    }
    ++count_;
    told_ = now;
    return true;
}

/// What failed once and then did not has nothing to add to its line.
void LastingFailure::end()
{
    if (count_ > 1) {
        log_.notice("Over after ", count_, " failures in ", seconds_between(since_, clock_.now()),
                    " s: ", what_);
    }
    count_ = 0;
}
