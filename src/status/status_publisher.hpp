#pragma once

#include "data/modem_data.hpp"
#include "timer/clock.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <memory>
#include <optional>

/// Tells the bus what the record says: four retained messages under "system/modem/" and the signals that go
/// with them, each when it has changed; the status also periodically. Asks nobody, changes nothing. Logs on
/// "celld.status" and "celld.status.msg" (the dump). Main thread only.
class StatusPublisher {
public:
    StatusPublisher(const ModemData& data, std::shared_ptr<ecu::kova::com::ITransportClient> client,
                    Clock& clock);

    void hardware_on_change();
    void sim_on_change();
    void registration_on_change();
    /// The status: when 10 s have passed since the last one, then with the registration message where this
    /// update has not told it yet; when the modem's state or reset reason is no longer the one published; or
    /// `now`.
    void status_when_due(bool now);
    /// The status, and the dump of the record at INFO.
    void status();
    void leave_last_will();

private:
    /// What the bus was last told of the SIMs.
    struct Sims {
        ModemData::Sim internal;
        ModemData::Sim external;
        defs::SimType active = defs::SimType::NONE;
        bool operator==(const Sims&) const = default;
    };
    /// ... and of the registration.
    struct Registration {
        int status = -1;
        int ext_ps = -1;
        int rat = -1;
        bool operator==(const Registration&) const = default;
    };
    /// ... and of the modem.
    struct State {
        ecu::kova::pb::ModemStatus_ModemState state = ecu::kova::pb::ModemStatus_ModemState_UNKNOWN;
        ecu::kova::pb::ModemStatus_ModemResetReason reason = ecu::kova::pb::ModemStatus_ModemResetReason_NONE;
        bool operator==(const State&) const = default;
    };

    Registration registration_now() const;
    State state_now() const { return {data_.pb_state(), data_.pb_reset_reason()}; }
    void registration();

    const ModemData& data_;
    std::shared_ptr<ecu::kova::com::ITransportClient> client_;
    Clock& clock_;
    ModemData::ModuleIdentity module_;
    Sims sims_;
    std::optional<Registration> registration_;
    State state_;
    std::optional<Clock::time_point> last_status_;
    bool registration_told_ = false; // since the last status
    // A signal is not kept by the bus: one that it did not take is published again.
    bool imei_owed_ = false;
    bool iccid_owed_ = false;
};
