#pragma once

#include "base/timer_queue.hpp"
#include "module/nvm.hpp"

#include <array>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// A context of +CGDCONT.
struct PdpContext {
    std::string type = "IP";
    std::string apn;
    bool active = false;
};

/// Everything that a restart of the module wipes out.
struct Session {
    static constexpr std::size_t BACKOFF_TIMERS = 4; ///< CS, PS, PDP, SMS

    int cmee = 0;
    int cfun = 1;
    int cops_mode = 0;
    bool time_known = false; ///< the network told it (NITZ)
    int signal_quality = 0;  ///< as last reported, as is the next
    bool service = false;
    bool attached = false;
    int packet_state = 0;
    std::map<std::string, std::vector<int>> numbers; ///< settings that are nothing but numbers, by command
    std::map<int, PdpContext> contexts;
    std::string default_apn; ///< of +UCGDFLT
    std::array<TimerQueue::TimePoint, BACKOFF_TIMERS> backoff_ends{};
    Nvm::Values in_force; ///< the non-volatile settings as they were at the start

    /// Number `index` of a setting; 0 while it was not set.
    int number(const std::string& command, std::size_t index) const
    {
        const auto found = numbers.find(command);
        return found != numbers.end() && index < found->second.size() ? found->second[index] : 0;
    }
};

} // namespace bench
