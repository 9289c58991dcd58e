#include "status/antenna_limits.hpp"

namespace {

using Bound = std::optional<std::int64_t>;

bool usable(const Bound& bound)
{
    return bound && *bound >= 0 && *bound <= std::numeric_limits<std::int32_t>::max();
}

Bound parallel(const Bound& a, const Bound& b)
{
    if (!usable(a) || !usable(b)) {
        return std::nullopt;
    }
    const std::int64_t sum = *a + *b;
    return sum == 0 ? 0 : (*a * *b + sum - 1) / sum;
}

} // namespace

std::optional<AntennaLimits> antenna_limits(const AntennaBounds& main, const AntennaBounds& diversity,
                                            bool diversity_fitted)
{
    const Bound min = diversity_fitted ? parallel(main.min, diversity.min) : main.min;
    const Bound max = diversity_fitted ? parallel(main.max, diversity.max) : main.max;
    if (!usable(min) || !usable(max) || *max < *min) {
        return std::nullopt;
    }
    return AntennaLimits{static_cast<std::int32_t>(*max), static_cast<std::int32_t>(*min)};
}
