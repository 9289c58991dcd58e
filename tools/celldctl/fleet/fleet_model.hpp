#pragma once

#include "fleet/unit_record.hpp"
#include "snapshot.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace celldctl {

/// Something that a unit's line tells anew.
struct FleetNews {
    FleetTime when;
    std::string unit;
    const char* kind; ///< "state", "reset", "condition", "senders", "unreadable", "removed"
    std::string text; ///< printable
    UnitRecord record;
};

/// What is heard of each unit, below its prefix.
inline constexpr std::array FLEET_TOPICS{STATUS_TOPIC, "system/modem/registration", "system/modem/hardware",
                                         BRIDGE_TOPIC};

/// All units, from what the central broker says of them. Bounded: so many units, so much of each text, so
/// many news that nobody has taken. Each message costs the same however many units there are, save the
/// logarithm of the look-up. A value; time is given.
class FleetModel {
public:
    static constexpr std::size_t MOST_UNITS = 10'000;
    using Units = std::map<std::string, UnitRecord, std::less<>>;

    /// What may come of it is counted that cannot be shown.
    struct Left {
        std::uint64_t ids = 0;   ///< messages below an id that can be none
        std::uint64_t units = 0; ///< messages of units beyond MOST_UNITS
        std::uint64_t news = 0;  ///< that came faster than they were taken
        bool operator==(const Left&) const = default;
    };

    /// Any topic, any bytes.
    void take(std::string_view topic, const ecu::kova::com::Message& message, FleetTime now);
    /// The connection to the central broker has gone or is there again: while there is none, no unit is
    /// silent.
    void connection(bool connected, FleetTime now);
    /// Lets time pass: looks at each unit. Once a second will do.
    void advance(FleetTime now);

    const Units& units() const { return units_; }
    const Left& left_out() const { return left_; }
    std::vector<FleetNews> take_news();

private:
    using Entry = Units::value_type;

    Entry* unit_of(std::string_view id);
    void take_status(Entry& unit, const ecu::kova::com::Message& message, FleetTime now);
    void take_state(Entry& unit, const ModemFacts& facts, ModemState state, FleetTime now);
    void take_reset(Entry& unit, const std::string& reason, FleetTime now);
    void take_rest(Entry& unit, std::string_view topic, const ecu::kova::com::Message& message,
                   FleetTime now);
    void judge(Entry& unit, FleetTime now);
    void judge_senders(Entry& unit, FleetTime now);
    void remove(std::string_view id, FleetTime now);
    void tell(const Entry& unit, const char* kind, std::string text, FleetTime now);

    Units units_;
    std::vector<FleetNews> news_;
    Left left_;
    bool connected_ = true;
    FleetTime listening_since_;
};

} // namespace celldctl
