#pragma once

#include "modem/state_machine.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <memory>
#include <string>

/// Reports a faulty module to the vehicle's diagnostics. The state is DTC_HW_ERROR only once the report is
/// out. Main thread only. Logs on "celld.modem".
class HardwareError {
public:
    HardwareError(StateMachine& machine, const std::shared_ptr<ecu::kova::com::ITransportClient>& bus)
        : machine_(machine), bus_(bus)
    {
    }

    /// True when it was published and the state is DTC_HW_ERROR. A bus that does not take it is told of once,
    /// and again when it is over.
    bool report(const std::string& cause);
    /// Reports, and goes on trying with `retry` as long as the bus does not take it.
    void owe(const std::string& cause)
    {
        cause_ = cause;
        owed_ = !report(cause);
    }
    void retry();
    /// The module works after all.
    void forget() { owed_ = false; }

private:
    StateMachine& machine_;
    const std::shared_ptr<ecu::kova::com::ITransportClient>& bus_;
    bool owed_ = false;
    std::string cause_; // of the one that is owed
    bool vain_ = false; // said once, until the bus has taken one
};
