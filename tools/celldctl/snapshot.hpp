#pragma once

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/pb/modem.pb.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace celldctl {

enum class Presence { MISSING, UNREADABLE, PRESENT };

/// One retained message of the bus. `value` is empty unless it is PRESENT.
template <class T>
struct Piece {
    Presence presence = Presence::MISSING;
    T value;
    std::optional<std::int64_t> stamp_ns; ///< the sender's time since boot; unknown where it is not PRESENT
    bool retained = false;
};

/// The newest of each message that tells what the modem is. A value; no thread of its own.
struct Snapshot {
    Piece<ecu::kova::pb::ModemStatus> status;
    Piece<ecu::kova::pb::ModemRegistration> registration;
    Piece<ecu::kova::pb::ModemHardware> hardware;
    Piece<ecu::kova::pb::ModemSimInformation> sim;
    Piece<ecu::kova::pb::BackendProxyStatus> backend;
    std::optional<bool> bridge_up; ///< of another unit: what its bridge to the central broker says

    /// Any bytes under any topic; logs nothing. What is no frame of its topic, or too long for one, takes the
    /// place of the piece as UNREADABLE: the last good value is no longer what the bus says.
    void take(const std::string& topic, const ecu::kova::com::Message& message);
    bool complete() const;

    struct NamedPresence {
        std::string_view name;
        Presence presence;
        std::optional<std::int64_t> stamp_ns;
    };
    std::array<NamedPresence, 5> pieces() const;
    /// "hardware, sim": the pieces of that presence.
    std::string names(Presence presence) const;
};

inline constexpr auto STATUS_TOPIC = "system/modem/status";
/// "1" or, by the will of the bridge, "0" (packaging/fleet/unit-bridge.conf).
inline constexpr auto BRIDGE_TOPIC = "bridge";
/// What it says; nothing for other bytes.
std::optional<bool> bridge_is_up(const ecu::kova::com::Message& message);
/// The topics that make up a snapshot.
inline constexpr std::array SNAPSHOT_TOPICS{STATUS_TOPIC, "system/modem/registration",
                                            "system/modem/hardware", "system/modem/sim", "be/status"};

} // namespace celldctl
