#pragma once

#include "timer/clock.hpp"

#include <ecu/kova/logging.hpp>

#include <cstdint>
#include <utility>

/// A question that is asked again and again, and refused each time, is a condition and no event: it is
/// written when it begins, once an hour while it lasts, and when it is over. One thread.
class LastingFailure {
public:
    /// `what` is asked for, for the line that ends it: "the signal strength (+CSQ)".
    LastingFailure(const ecu::kova::logging::Module& log, ecu::kova::logging::Level level, const char* what,
                   const Clock& clock)
        : log_(log), level_(level), what_(what), clock_(clock)
    {
    }

    template <class... Parts>
    void failed(const Parts&... parts)
    {
        if (is_told()) {
            log_.write(level_, parts...);
        }
    }
    void succeeded()
    {
        if (count_ != 0) {
            end();
        }
    }

private:
    bool is_told();
    void end();

    const ecu::kova::logging::Module& log_;
    const ecu::kova::logging::Level level_;
    const char* const what_;
    const Clock& clock_;
    std::uint64_t count_ = 0; // since it began
    Clock::time_point since_;
    Clock::time_point told_;
};
