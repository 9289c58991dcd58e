#pragma once

#include "data/backoff.hpp"
#include "data/defs.hpp"
#include "data/registration.hpp"
#include "data/sim_access.hpp"

#include <ecu/pb/modem.pb.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <threads/mutex.hpp>

/// The one record of everything known about the module. The modem owns it; helpers get a plain pointer.
///
/// Main thread only, but for `antenna`: its signal quality is written by the main thread and read by the
/// antenna thread under its own mutex, its RSSI the other way round as an atomic.
class ModemData {
public:
    /// What the module says of the network; start values mean "unknown".
    struct NwRegStatus {
        int c_reg = registration::stat::UNKNOWN;  ///< key of CREG_ENUM_MAP, circuit-switched domain
        int cg_reg = registration::stat::UNKNOWN; ///< GPRS
        int ce_reg = registration::stat::UNKNOWN; ///< EPS
        int ureg = 0;                             ///< key of UREG_ENUM_MAP
        int rat = defs::RAT_INVALID;              ///< key of RAT_ENUM_MAP
        std::optional<int> reject_cause;          ///< key of CAUSE_ENUM_MAP, of the last denial

        /// Looks at the circuit-switched domain alone.
        bool is_registered() const;
        /// The status that decides what the modem does: a registered domain before any other, in the order
        /// circuit-switched, GPRS, EPS; else the circuit-switched one. So an EPS-only subscription counts.
        int deciding_status() const;
        /// GPRS or EPS says registered.
        bool packet_domain_usable() const;
        /// A line a field, for the log.
        std::string text() const;
    };

    struct Sim {
        defs::SimType type = defs::SimType::NONE;
        std::string iccid;
        std::string imsi;

        bool is_identified() const { return !iccid.empty() && !imsi.empty(); }

        /// The same card; the holder it sits in is not compared.
        bool operator==(const Sim& other) const { return iccid == other.iccid && imsi == other.imsi; }
        bool operator!=(const Sim& other) const { return !(*this == other); }
    };

    struct SimCards {
        Sim internal{defs::SimType::INTERNAL, {}, {}};
        Sim external{defs::SimType::EXTERNAL, {}, {}};
        defs::SimType active = defs::SimType::NONE;

        /// The record of that SIM; the internal one for NONE.
        Sim& of(defs::SimType type);
        const Sim& of(defs::SimType type) const;
    };

    struct ModuleIdentity {
        std::string imei;
        std::string manu;
        std::string model;

        bool operator==(const ModuleIdentity&) const = default;
    };

    struct OperatorData {
        std::string id;    ///< numeric PLMN
        std::string name;  ///< the network's name
        std::string sim_n; ///< the SIM's name for it
    };

    /// 0 while unknown.
    struct LocationData {
        std::uint32_t mcc = 0;
        std::uint32_t mnc = 0;
        std::uint32_t area_c = 0;
        std::uint32_t cell_id = 0;
        std::uint32_t r_ac = 0;
    };

    struct TimeData {
        std::int64_t nw_utc = 0; ///< microseconds since 1970, UTC; 0 while unknown
        std::int64_t ts_ns = 0;  ///< boot time of that reading, nanoseconds
    };

    class Antenna {
    public:
        defs::SignalQuality signal_quality() const;
        void signal_quality(const defs::SignalQuality& quality);
        /// <rssi> of +CSQ; -1 before the first reading.
        int rssi() const { return rssi_.load(); }
        void rssi(int value) { rssi_.store(value); }
        void forget();

    private:
        mutable threads::Mutex mutex_;
        defs::SignalQuality signal_quality_ THREADS_GUARDED_BY(mutex_) = defs::SignalQuality::UNKNOWN;
        std::atomic<int> rssi_{-1};
    };

    /// Takes one line's news into the domain's record, and from there into `nw_reg` and `location`: a
    /// registered domain that knows its cell or access technology is never overridden by one that is not
    /// registered. An access technology said to be unknown is news; none in the line keeps what was.
    void apply(registration::Domain domain, const registration::Update& update);

    /// Back to the start values of `nw_reg`, `operator_data` and `location`.
    void reset();

    ecu::kova::pb::ModemStatus_ModemState pb_state() const { return pb_state_; }
    /// Logs a change.
    void pb_state(ecu::kova::pb::ModemStatus_ModemState state);
    ecu::kova::pb::ModemStatus_ModemResetReason pb_reset_reason() const { return pb_reset_reason_; }
    /// Logs a change. Kept until the next call.
    void pb_reset_reason(ecu::kova::pb::ModemStatus_ModemResetReason reason);

    NwRegStatus nw_reg;
    SimCards sim;
    SimAccess internal_sim; ///< handed in once, before the module is spoken to
    SimAccess external_sim; ///< likewise
    ModuleIdentity module;
    OperatorData operator_data;
    LocationData location;
    TimeData time;
    Antenna antenna;
    Backoff nw_friendly_mode;       ///< what +UUNFM said last
    bool service_available = false; ///< +CIEV: 3
    bool card_removed = false;      ///< +CIEV: 12, and no card has been reported since

private:
    struct DomainRecord {
        int status = registration::stat::UNKNOWN;
        std::optional<std::uint32_t> area;
        std::optional<std::uint32_t> cell;
        std::optional<int> access_technology;
        std::optional<std::uint32_t> routing_area;
    };

    void settle(registration::Domain latest);
    template <class Can>
    const DomainRecord* registered_record(Can can_tell) const;

    std::array<DomainRecord, 3> domains_; // indexed by Domain
    ecu::kova::pb::ModemStatus_ModemState pb_state_ = ecu::kova::pb::ModemStatus_ModemState_UNKNOWN;
    ecu::kova::pb::ModemStatus_ModemResetReason pb_reset_reason_ =
        ecu::kova::pb::ModemStatus_ModemResetReason_NONE;
};
