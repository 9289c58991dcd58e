#pragma once

#include "status/status_publisher.hpp"
#include "status/status_queries.hpp"

/// Keeps the slowly changing parts of the record fresh (`StatusQueries`) and tells the bus of them
/// (`StatusPublisher`). Main thread only; a query blocks for its commands' time-outs.
class StatusHandler {
public:
    using Query = PeriodicQuery;

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
    void publish() { publisher_.status(); }

    /// What the bus shall say of a daemon that is gone without a word: a state that is not known. Once,
    /// before anything else goes to the bus.
    void leave_last_will() { publisher_.leave_last_will(); }

private:
    StatusQueries queries_;
    StatusPublisher publisher_;
};
