#include <ecu/kova/date_time.hpp>

#include <ctime>

namespace ecu::kova {

std::int64_t DateTime::time_since_boot_ns()
{
    constexpr std::int64_t NS_PER_S = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now); // cannot fail on a kernel that has the clock (2.6.39)
    return now.tv_sec * NS_PER_S + now.tv_nsec;
}

} // namespace ecu::kova
