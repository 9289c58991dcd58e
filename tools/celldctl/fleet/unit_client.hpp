#pragma once

#include "threads/mutex.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <memory>
#include <string>
#include <vector>

namespace celldctl {

/// The bus of one unit, by way of the central broker: topics go out with the unit's prefix, and come in
/// without it. From any thread, as the client below it.
class UnitClient final : public ecu::kova::com::ITransportClient {
public:
    using Client = std::shared_ptr<ecu::kova::com::ITransportClient>;
    using Observer = ecu::kova::com::ISubscriptionObserver;

    UnitClient(Client central, const std::string& unit);

    bool publish(const std::string& topic, const ecu::kova::com::Message& message) override;
    bool subscribe(const std::string& topic, std::weak_ptr<Observer> observer) override;
    bool flush(std::chrono::milliseconds timeout) override { return central_->flush(timeout); }
    bool is_connected() const override { return central_->is_connected(); }

private:
    const Client central_;
    const std::string prefix_;
    threads::Mutex mutex_;
    std::vector<std::shared_ptr<Observer>> observers_ THREADS_GUARDED_BY(mutex_);
};

} // namespace celldctl
