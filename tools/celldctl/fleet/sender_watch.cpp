#include "fleet/sender_watch.hpp"

#include <algorithm>

namespace celldctl {

namespace {

using namespace std::chrono_literals;

/// A message that was on its way when the connection went is sent again (QoS 1), and may come behind later
/// ones; the bridge notices a dead connection within one and a half of its keep-alive.
constexpr std::chrono::nanoseconds SENT_AGAIN = 90s;
constexpr auto TOGETHER = 5min; // strikes within it are no chance

} // namespace

void SenderWatch::note_stamp(std::int64_t since_boot_ns, FleetTime now)
{
    const bool runs_back = newest_ns_ && since_boot_ns < *newest_ns_ && since_boot_ns >= 0 &&
                           *newest_ns_ - since_boot_ns > SENT_AGAIN.count();
    if (runs_back) {
        strike(now);
    }
    newest_ns_ = runs_back ? since_boot_ns : std::max(newest_ns_.value_or(since_boot_ns), since_boot_ns);
}

void SenderWatch::note_imei(const std::string& imei, FleetTime now)
{
    if (!imei_.empty() && !imei.empty() && imei != imei_) {
        strike(now);
    }
    imei_ = imei.empty() ? imei_ : imei;
}

bool SenderWatch::sees_two(FleetTime now) const
{
    return strikes_.front() != FleetTime() && now - strikes_.front() <= TOGETHER;
}

void SenderWatch::strike(FleetTime now)
{
    std::rotate(strikes_.begin(), strikes_.begin() + 1, strikes_.end());
    strikes_.back() = now;
}

} // namespace celldctl
