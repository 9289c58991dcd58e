#pragma once

#include <cstdint>
#include <optional>

/// What registration lines say (3GPP TS 27.007, 7.2, 10.1.20, 10.1.22). Plain values.
namespace registration {

enum class Domain { CS, PS, EPS };

/// <stat> of the lines, as far as something is decided by it.
namespace stat {
constexpr int NOT_REGISTERED = 0;
constexpr int HOME = 1;
constexpr int SEARCHING = 2;
constexpr int DENIED = 3;
constexpr int UNKNOWN = 4;
constexpr int ROAMING = 5;
constexpr int SMS_ONLY_HOME = 6;
constexpr int SMS_ONLY_ROAMING = 7;
constexpr int EMERGENCY = 8;
constexpr int CSFB_NOT_PREFERRED_HOME = 9;
constexpr int CSFB_NOT_PREFERRED_ROAMING = 10;
} // namespace stat

/// What one line says. An absent member was not in the line: the record keeps what it had.
struct Update {
    int status = 0;
    std::optional<std::uint32_t> area;    ///< location or tracking area; 0 when the field was there but empty
    std::optional<std::uint32_t> cell;    ///< likewise
    std::optional<int> access_technology; ///< RAT_INVALID when the line says that it is unknown
    std::optional<std::uint32_t> routing_area;
    std::optional<int> cause_type;
    std::optional<int> reject_cause;
};

/// Whether a <stat> means registered: home, roaming, SMS only, or CSFB not preferred. Emergency is not.
bool is_registered(int status);

} // namespace registration
