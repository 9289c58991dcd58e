#include "record/check_pace.hpp"

namespace bench {
namespace {

constexpr std::int64_t MINUTE_MS = 60'000;
constexpr std::size_t MAX_A_MINUTE = 250; ///< a cold boot up to the connection sends 140
constexpr std::size_t MAX_A_QUIET_MINUTE =
    130;                             ///< a SARA is asked 87 times, a TOBY 97, connected or searching
constexpr auto ANTENNA = "AT+UANTR"; ///< how often it is measured is configured; not counted

} // namespace

void PaceRules::feed(const TranscriptLine& line)
{
    const bool fine = line.kind == "info" || (line.kind == "answer" && line.field(4) == "OK");
    if (line.kind == "command") {
        command(line);
    } else if (!fine) {
        eventful_ms_ = line.at_ms;
    }
}

void PaceRules::command(const TranscriptLine& line)
{
    if (line.field(1).starts_with(ANTENNA)) {
        return;
    }
    last_minute_.push_back(line.at_ms);
    while (last_minute_.front() <= line.at_ms - MINUTE_MS) {
        last_minute_.pop_front();
    }
    // What an event leads to is over a minute later.
    const bool quiet = last_minute_.front() > eventful_ms_ + MINUTE_MS;
    if (last_minute_.size() > (quiet ? MAX_A_QUIET_MINUTE : MAX_A_MINUTE)) {
        broken(Rule::PACE, line,
               std::to_string(last_minute_.size()) + " commands within a minute" +
                   (quiet ? " in which nothing happened" : ""));
        last_minute_.clear(); // said once for these
    }
}

} // namespace bench
