#include "retries.hpp"

#include <algorithm>

namespace ecu::kova::com {

namespace {

using namespace std::chrono_literals;

constexpr Retries::Delay LONGEST_DELAY = 30s;
constexpr auto STABLE_AFTER = 10s; // a connection that held this long makes the next delay short again
constexpr auto SHORT_LIFE = 60s; // twice the longest delay: two clients of one id throw each other off sooner
constexpr int SUSPICIOUS_LIVES = 2; // so many in a row are no broker that was restarted

} // namespace

void Retries::failed(const Life& life)
{
    if (life.accepted && life.lived >= STABLE_AFTER) {
        delay_ = FIRST_DELAY;
    }
    short_lives_ = life.hung_up_on && life.lived < SHORT_LIFE ? short_lives_ + 1 : 0;
}

void Retries::lengthen_delay()
{
    delay_ = std::min(2 * delay_, LONGEST_DELAY);
}

bool Retries::id_seems_taken() const
{
    return short_lives_ >= SUSPICIOUS_LIVES;
}

} // namespace ecu::kova::com
