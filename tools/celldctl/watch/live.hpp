#pragma once

#include "session.hpp"

#include <chrono>
#include <optional>

namespace celldctl {

/// Calls `refresh` again and again, until it returns false, the time has come, or a signal ends the program.
/// Another signal's number goes to `signal`.
template <class Refresh, class OnSignal>
void live(Session& session, std::optional<std::chrono::steady_clock::time_point> end, const Refresh& refresh,
          const OnSignal& signal)
{
    constexpr std::chrono::milliseconds LOOK_AGAIN{50}; // between a message and its line at worst
    while ((!end || std::chrono::steady_clock::now() < *end) && refresh()) {
        const int number = session.signals.next(LOOK_AGAIN);
        if (session.signals.ending() != 0) {
            return;
        }
        if (number != 0) {
            signal(number);
        }
    }
}

/// That time from now, which goes on while there is no connection as yet.
inline std::optional<std::chrono::steady_clock::time_point>
deadline(std::optional<std::chrono::seconds> timeout)
{
    return timeout ? std::optional(std::chrono::steady_clock::now() + *timeout) : std::nullopt;
}

} // namespace celldctl
