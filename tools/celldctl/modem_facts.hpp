#pragma once

#include "snapshot.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace celldctl {

struct SimFacts {
    std::optional<std::string> type; ///< "SIM_INTERNAL"
    std::optional<std::string> iccid;
    std::optional<std::string> imsi;
    bool active = false;
};

/// What is known of the modem; nothing stands for what is not. Texts are as they came: any bytes. Words are
/// the names of the bus's enumerations.
struct ModemFacts {
    bool connected = false;   ///< the state is CONNECTED, and the status not stale
    bool daemon_gone = false; ///< the status is the daemon's last will
    bool stale = false;       ///< the status is retained, and older than a daemon that lives would let it be
    std::optional<bool> bridge_up; ///< of another unit; what is down makes its status stale

    /// Of each message of the snapshot: seconds since it was sent, where that is known.
    std::vector<std::pair<std::string_view, std::optional<std::int64_t>>> ages_s;

    std::optional<std::string> state;
    std::optional<std::string> reset_reason;
    std::optional<std::string> backend;

    std::optional<std::string> registration;
    std::optional<std::string> packet_service;
    std::optional<std::string> technology;
    std::optional<std::string> operator_name;
    std::optional<std::string> operator_id;
    std::optional<std::string> sim_operator_name;
    std::optional<std::string> network_time; ///< "2026-01-31T12:00:00Z", as the network said it last

    std::optional<std::int64_t> mcc;
    std::optional<std::int64_t> mnc;
    std::optional<std::int64_t> area_code;
    std::optional<std::int64_t> cell_id;
    std::optional<std::int64_t> routing_area_code;

    std::optional<std::int64_t> rssi_dbm;
    std::optional<std::int64_t> bars; ///< 0 to MOST_BARS

    std::optional<std::string> active_sim;
    std::vector<SimFacts> sims; ///< MOST_SIMS at most, each with an ICCID or an IMSI

    std::optional<std::string> manufacturer;
    std::optional<std::string> model;
    std::optional<std::string> imei;
};

constexpr std::int64_t MOST_BARS = 5;
constexpr std::size_t MOST_SIMS = 8; // a unit has two; a screen has an end

/// Where two messages say the same, the one of its own topic goes before the status. `now_ns` is the time
/// since boot of the host that the daemon runs on, where it is known.
ModemFacts facts_of(const Snapshot& snapshot, std::optional<std::int64_t> now_ns);

} // namespace celldctl
