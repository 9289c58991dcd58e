#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "timer/clock.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Keeps the slowly changing parts of the record fresh by periodic queries, and publishes the record: four
/// retained messages under "system/modem/" and the signals that go with them. Logs on "celld.status",
/// "celld.status.msg" (the dump) and "celld.status.query". Main thread only; a query blocks for its commands'
/// time-outs.
class StatusHandler {
public:
    /// One periodic query.
    class Query {
    public:
        using Callback = std::function<void(AtTtyPort&)>;

        Query(std::string&& name, std::chrono::seconds period, Callback callback,
              Clock& clock = SystemClock::instance());

        /// Runs the callback when more than the period has passed since the last run, or when forced. The
        /// first call always runs it.
        void exec(AtTtyPort& port, bool force);
        const std::string& name() const { return name_; }

    private:
        std::string name_;
        std::chrono::seconds period_;
        Callback callback_;
        Clock& clock_;
        std::optional<Clock::time_point> last_run_;
    };

    StatusHandler(std::shared_ptr<AtTtyPort> port, ModemData* data, Clock& clock = SystemClock::instance());
    StatusHandler(std::shared_ptr<AtTtyPort> port, ModemData* data,
                  std::shared_ptr<ecu::kova::com::ITransportClient> client,
                  Clock& clock = SystemClock::instance());

    /// Forgets the operator of a network that was left, publishes what changed, runs the queries that are due
    /// (all of them with `force`, the operator's also when the network has changed) while the port runs, and
    /// publishes the status when 10 s have passed since the last one, when the modem's state or reset reason
    /// is no longer the one published, or with `publish_now`.
    void update(bool force, bool publish_now);

    /// The status message, and the dump of the record at INFO.
    void publish();

    /// What the bus shall say of a daemon that is gone without a word: a state that is not known. Once,
    /// before anything else goes to the bus.
    void leave_last_will();

private:
    /// What the bus was last told of the SIMs.
    struct SimCopy {
        ModemData::Sim internal;
        ModemData::Sim external;
        defs::SimType active = defs::SimType::NONE;
    };
    /// What the bus was last told of the registration.
    struct RegistrationCopy {
        int status = -1;
        int ext_ps = -1;
        int rat = -1;
        bool operator==(const RegistrationCopy&) const = default;
    };

    /// By what a network that the module has changed to is known.
    struct NetworkCopy {
        bool on_a_network = false;
        int status = -1;
        std::uint32_t area = 0;
        bool operator==(const NetworkCopy&) const = default;
    };

    void init();
    void publish_hardware_on_change();
    bool take_network_change();
    void publish_sim_on_change();
    void publish_registration();
    void publish_registration_on_change();
    bool status_due(bool publish_now) const;
    RegistrationCopy registration_now() const;

    void query_operator(AtTtyPort& port);
    void query_time(AtTtyPort& port);

    std::shared_ptr<AtTtyPort> port_;
    ModemData* data_;
    std::shared_ptr<ecu::kova::com::ITransportClient> client_;
    Clock& clock_;
    std::vector<Query> queries_;
    std::chrono::seconds status_period_;
    std::optional<Clock::time_point> last_status_;
    ecu::kova::pb::ModemStatus_ModemState published_state_ = ecu::kova::pb::ModemStatus_ModemState_UNKNOWN;
    ecu::kova::pb::ModemStatus_ModemResetReason published_reason_ =
        ecu::kova::pb::ModemStatus_ModemResetReason_NONE;
    ModemData::ModuleIdentity published_module_;
    bool imei_published_ = true;     // there is none yet
    bool registration_told_ = false; // in this update
    NetworkCopy network_;
    bool iccid_published_ = true; // there is none yet
    SimCopy published_sim_;
    std::optional<RegistrationCopy> published_registration_;
};
