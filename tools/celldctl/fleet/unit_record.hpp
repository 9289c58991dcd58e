#pragma once

#include "describe.hpp"
#include "fleet/sender_watch.hpp"
#include "modem_facts.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace celldctl {

/// What one unit has become, in the order of trouble.
enum class Condition {
    UP,          ///< what is known of it is of now
    SILENT,      ///< nothing came for longer than a daemon that lives would let it be
    DAEMON_GONE, ///< its daemon has ended without a farewell
    UNREACHABLE  ///< its bridge to the central broker is down
};
inline constexpr std::array CONDITION_WORDS{"up", "silent", "daemon gone", "unreachable"};
const char* word(Condition condition);

/// What the centre knows of one unit. Texts are as they came, clipped. A value.
struct UnitRecord {
    std::optional<ModemState> state;
    FleetTime since;            ///< of the state
    bool seen_to_begin = false; ///< else the state may be older

    std::optional<std::string> operator_name;
    std::optional<std::string> operator_id;
    std::optional<std::string> technology;
    std::optional<std::string> model;
    std::optional<std::int64_t> rssi_dbm;
    std::optional<std::int64_t> bars;
    std::optional<std::string> reset_reason; ///< of the last reset

    std::uint64_t starts = 0;           ///< how often its module was seen to be switched on
    std::uint64_t messages = 0;         ///< heard, decodable or not
    std::uint64_t malformed = 0;        ///< of them
    std::optional<FleetTime> last_seen; ///< the last that was just sent, not retained

    Condition condition = Condition::UP;
    FleetTime condition_since;
    std::optional<bool> bridge_up;
    bool daemon_gone = false;
    bool unreadable = false; ///< its last status does not decode; what is known is older
    SenderWatch senders;
    bool two_senders = false; ///< messages of two hosts seem to come under its id
};

/// "CONNECTED"; nothing while no status has come.
std::optional<std::string> state_word(const UnitRecord& unit);

} // namespace celldctl
