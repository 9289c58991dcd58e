#include "data/defs.hpp"

#include <algorithm>
#include <array>
#include <cctype>

namespace defs {
namespace {

template <std::size_t Size>
const char* text_at(const std::array<const char*, Size>& texts, int index, const char* otherwise)
{
    return index >= 0 && static_cast<std::size_t>(index) < Size ? texts[static_cast<std::size_t>(index)]
                                                                : otherwise;
}

template <class Enum, std::size_t Size>
std::optional<Enum> value_of(const std::array<const char*, Size>& texts, const std::string& text)
{
    const auto found = std::find(texts.begin(), texts.end(), text);
    if (found == texts.end()) {
        return std::nullopt;
    }
    return static_cast<Enum>(found - texts.begin());
}

constexpr std::array SIGNAL_QUALITIES{"< -105 dBm", "< -93 dBm", "< -81 dBm",
                                      "< -69 dBm",  "< -57 dBm", ">= -57 dBm"};
constexpr std::array APN_AUTHENTICATION_TYPES{"NONE", "PAP", "CHAP"};
constexpr std::array SIM_STATES{"auto", "enable", "disable"};
constexpr std::array NW_FRIENDLY_MODE_TYPES{"CS back-off timer running",  "PS back-off timer running",
                                            "PDP back-off timer running", "SMS back-off timer running",
                                            "<CS_REG> attempts reached",  "<PS_REG> attempts reached",
                                            "<PSP_OK> attempts reached"};
constexpr std::array SIM_TYPES{"Internal (esim, embedded sim)", "External (Plastic sim)", "Not Selected!"};

constexpr auto UREG = std::to_array<EnumName>({
    {0, "NONE"},
    {1, "GPRS"},
    {2, "EDGE"},
    {3, "WCDMA"},
    {4, "HSDPA"},
    {5, "HSUPA"},
    {6, "HSDUPA"},
    {7, "LTE"},
    {8, "GPRSDTM"},
    {9, "EDGEDTM"},
});

constexpr auto CREG = std::to_array<EnumName>({
    {0, "NOTREG"},
    {1, "HOME"},
    {2, "SEARCH"},
    {3, "DENIED"},
    {4, "UNKNOWN"},
    {5, "ROAMING"},
    {6, "SMSHOME"},
    {7, "SMSROAM"},
    {8, "EMERGENCY"},
    {9, "NCSFBHOME"},
    {10, "NCSFBROAM"},
});

constexpr auto RAT = std::to_array<EnumName>({
    {0, "GSM"},
    {1, "GSMC"},
    {2, "UTRAN"},
    {3, "GSMEDGE"},
    {4, "UTRAND"},
    {5, "UTRANU"},
    {6, "UTRANDU"},
    {7, "EUTRAN"},
    {255, "INVALID"},
});

constexpr auto CAUSE = std::to_array<EnumName>({
    {2, "IMSI unknown in HSS"},
    {3, "Illegal UE"},
    {6, "Illegal ME"},
    {9, "UE identity cannot be derived by the network."},
    {10, "Implicitly detached"},
    {5, "IMEI not accepted"},
    {7, "EPS services not allowed"},
    {8, "EPS services and non-EPS services not allowed"},
    {11, "PLMN not allowed"},
    {12, "Tracking area not allowed"},
    {13, "Roaming not allowed in this tracking area"},
    {14, "EPS services not allowed in this PLMN"},
    {15, "No suitable cells in tracking area"},
    {25, "Not authorized for this CSG"},
    {35, "Requested service option not authorized"},
    {40, "No EPS bearer context activated"},
    {16, "MSC temporarily not reachable"},
    {17, "Network failure"},
    {18, "CS domain not available"},
    {19, "ESM failure"},
    {20, "MAC failure"},
    {21, "Synch failure"},
    {22, "Congestion"},
    {23, "UE security"},
    {24, "Security mode rejected, unspecified"},
    {26, "Non-EPS authentication unacceptable"},
    {39, "CS service temporarily not available"},
    {95, "Semantically incorrect message."},
    {96, "Invalid mandatory information."},
    {97, "Message type non-existent or not implemented."},
    {98, "Message type not compatible with protocol state."},
    {99, "Information element non-existent or not implemented."},
    {100, "Conditional IE error."},
    {101, "Message not compatible with protocol state."},
    {111, "Protocol error, unspecified."},
});

} // namespace

SignalQuality signal_quality_of(int value)
{
    return value >= 0 && static_cast<std::size_t>(value) < SIGNAL_QUALITIES.size()
               ? static_cast<SignalQuality>(value)
               : SignalQuality::UNKNOWN;
}

const char* to_str(SignalQuality quality)
{
    return text_at(SIGNAL_QUALITIES, static_cast<int>(quality), "Unknown");
}

const char* to_str(ApnAuthenticationType type)
{
    return text_at(APN_AUTHENTICATION_TYPES, static_cast<int>(type), "NONE");
}

const char* to_str(SimState state)
{
    return text_at(SIM_STATES, static_cast<int>(state), "auto");
}

const char* to_str(NwFriendlyModeType type)
{
    return text_at(NW_FRIENDLY_MODE_TYPES, static_cast<int>(type), "NONE");
}

const char* to_str(SimType type)
{
    return text_at(SIM_TYPES, static_cast<int>(type), "Not Selected!");
}

std::optional<ApnAuthenticationType> from_str(std::string text, ApnAuthenticationType)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return value_of<ApnAuthenticationType>(APN_AUTHENTICATION_TYPES, text);
}

std::optional<SimState> from_str(std::string text, SimState)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return value_of<SimState>(SIM_STATES, text);
}

const EnumMap UREG_ENUM_MAP = UREG;
const EnumMap CREG_ENUM_MAP = CREG;
const EnumMap RAT_ENUM_MAP = RAT;
const EnumMap CAUSE_ENUM_MAP = CAUSE;

const char* name_of(EnumMap map, int key)
{
    const auto found =
        std::find_if(map.begin(), map.end(), [key](const auto& name) { return name.first == key; });
    return found == map.end() ? nullptr : found->second;
}

std::string text_of(EnumMap map, int key)
{
    const char* const name = name_of(map, key);
    return name == nullptr ? std::to_string(key) : name;
}

} // namespace defs
