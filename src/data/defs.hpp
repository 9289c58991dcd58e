#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

/// Small enums the areas share, and the names behind the numbers of the module's answers.
namespace defs {

/// The module's signal-quality indicator (+CIEV: 2,<n>).
enum class SignalQuality : int {
    UNKNOWN = -1,
    BELOW_105 = 0,
    BELOW_93,
    BELOW_81,
    BELOW_69,
    BELOW_57,
    ABOVE_57
};

/// <auth_type> of the module's +UAUTHREQ and +UCGDFLT.
enum class ApnAuthenticationType : int { NONE = 0, PAP = 1, CHAP = 2 };

/// What the configuration says of a SIM.
enum class SimState : int { AUTO = 0, ENABLE = 1, DISABLE = 2 };

/// What +UUNFM reports (network friendly mode of the module's AT manual).
enum class NwFriendlyModeType : int {
    CS_BACKOFF = 0,
    PS_BACKOFF,
    PDP_BACKOFF,
    SMS_BACKOFF,
    CS_ATTEMPTS,
    PS_ATTEMPTS,
    PDP_ATTEMPTS,
};

enum class SimType : int { INTERNAL = 0, EXTERNAL = 1, NONE = 2 };

/// The module's SIM indicator (+CIEV: 12,<n>).
enum class SimDetection : int { REMOVED = 0, INSERTED = 1 };

/// UNKNOWN for a number that is none.
SignalQuality signal_quality_of(int value);

// Any value of the underlying type may come from the module: out of range has a text too.
const char* to_str(SignalQuality quality);
const char* to_str(ApnAuthenticationType type);
const char* to_str(SimState state);
const char* to_str(NwFriendlyModeType type);
const char* to_str(SimType type);

/// The value whose text this is, whatever its case; nothing when there is none. The second argument only says
/// which enum is wanted.
std::optional<ApnAuthenticationType> from_str(std::string text, ApnAuthenticationType tag);
std::optional<SimState> from_str(std::string text, SimState tag);

using EnumName = std::pair<int, const char*>;
using EnumMap = std::span<const EnumName>;

extern const EnumMap UREG_ENUM_MAP;  ///< state of +UREG (the module's AT manual)
extern const EnumMap CREG_ENUM_MAP;  ///< <stat> of +CREG, +CGREG, +CEREG (3GPP TS 27.007, 7.2)
extern const EnumMap RAT_ENUM_MAP;   ///< <AcT> of the same; 255 is this program's "unknown"
extern const EnumMap CAUSE_ENUM_MAP; ///< EMM causes of 3GPP TS 24.301, 9.9.3.9

/// The name of `key`, or null.
const char* name_of(EnumMap map, int key);
/// The same, or the bare number.
std::string text_of(EnumMap map, int key);

constexpr int RAT_EUTRAN = 7;
constexpr int RAT_INVALID = 255;

} // namespace defs
