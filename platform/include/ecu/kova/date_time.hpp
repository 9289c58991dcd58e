#pragma once

#include <cstdint>

namespace ecu::kova {

struct DateTime {
    /// Nanoseconds since boot, time in suspend included (clock_gettime(2), CLOCK_BOOTTIME). Any thread.
    static std::int64_t time_since_boot_ns();
};

} // namespace ecu::kova
