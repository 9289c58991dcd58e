#pragma once

#include <chrono>
#include <ctime>

namespace timer {

/// The wall clock, which may jump. Any thread. In place of std::chrono::system_clock::now(), whose seconds
/// the C++ library of Debian 12 takes in 32 bits on a 32-bit system: those end in January 2038.
inline std::chrono::system_clock::time_point wall_now()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::chrono::system_clock::time_point(std::chrono::seconds(now.tv_sec) +
                                                 std::chrono::nanoseconds(now.tv_nsec));
}

} // namespace timer
