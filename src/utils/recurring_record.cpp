#include "utils/recurring_record.hpp"

#include <utility>

namespace {

constexpr std::chrono::minutes COUNTING_PERIOD{1};

} // namespace

RecurringRecord::RecurringRecord(const ecu::kova::logging::Module& log, ecu::kova::logging::Level level,
                                 std::string kind, Clock& clock)
    : log_(log), level_(level), kind_(std::move(kind)), clock_(clock)
{
}

bool RecurringRecord::take()
{
    const auto now = clock_.now();
    const threads::MutexLock lock(mutex_);
    tell_if_over(now);
    if (!counting_since_) {
        counting_since_ = now;
        return true;
    }
    ++counted_;
    return false;
}

void RecurringRecord::tell_count()
{
    const auto now = clock_.now();
    const threads::MutexLock lock(mutex_);
    tell_if_over(now);
}

/// A minute with more of them is followed by another; one without them ends the counting.
void RecurringRecord::tell_if_over(Clock::time_point now)
{
    if (!counting_since_ || now - *counting_since_ < COUNTING_PERIOD) {
        return;
    }
    if (counted_ == 0) {
        counting_since_.reset();
        return;
    }
    log_.write(level_, counted_, " more ", kind_, " in the last minute");
    counting_since_ = now;
    counted_ = 0;
}
