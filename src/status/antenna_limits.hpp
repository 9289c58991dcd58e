#pragma once

#include <cstdint>
#include <limits>
#include <optional>

/// Impedance that counts as healthy, bounds included, in the unit of the antenna parameters and of "+UANTR"
/// (ohm or kilo-ohm, by module). The start values report no fault, save an impedance of 0.
struct AntennaLimits {
    std::int32_t max = std::numeric_limits<std::int32_t>::max();
    std::int32_t min = std::numeric_limits<std::int32_t>::min();
};

/// The bounds of one antenna as the system parameters give them; absent ones are unknown.
struct AntennaBounds {
    std::optional<std::int64_t> min;
    std::optional<std::int64_t> max;
};

/// The main antenna's own bounds, or with a diversity antenna fitted beside it the parallel combination of
/// the two, rounded up, for each bound. Nothing when a bound that is needed is absent, negative, too large,
/// or the maximum lies below the minimum. Pure.
std::optional<AntennaLimits> antenna_limits(const AntennaBounds& main, const AntennaBounds& diversity,
                                            bool diversity_fitted);
