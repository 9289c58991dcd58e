#pragma once

#include "timer/clock.hpp"

#include <ecu/kova/logging.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <threads/mutex.hpp>

/// A log record that others can cause without end. The first is written; those of the minute that follows are
/// only counted, and the count is told when the minute is over. Any thread.
class RecurringRecord {
public:
    /// `kind` says in the plural what is counted.
    RecurringRecord(const ecu::kova::logging::Module& log, ecu::kova::logging::Level level, std::string kind,
                    Clock& clock);

    /// Counts one, and says whether it is to be written.
    bool take();
    template <class... Parts>
    void write(const Parts&... parts)
    {
        if (take()) {
            log_.write(level_, parts...);
        }
    }
    /// Tells the count of a minute that is over. To be called now and then, also when no more come.
    void tell_count();

private:
    void tell_if_over(Clock::time_point now) THREADS_REQUIRES(mutex_);

    const ecu::kova::logging::Module& log_;
    const ecu::kova::logging::Level level_;
    const std::string kind_;
    Clock& clock_;

    threads::Mutex mutex_;
    std::optional<Clock::time_point> counting_since_ THREADS_GUARDED_BY(mutex_);
    std::uint64_t counted_ THREADS_GUARDED_BY(mutex_) = 0;
};
