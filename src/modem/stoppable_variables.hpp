#pragma once

#include <ecu/kova/var/variables_client.hpp>

#include <functional>
#include <memory>
#include <utility>

/// The unit's variables, waited for only while nobody wants a stop: a wait looks up every 200 ms.
class StoppableVariables final : public ecu::kova::var::VariablesClient {
public:
    static constexpr std::chrono::milliseconds LOOK_INTERVAL{200};

    StoppableVariables(std::shared_ptr<ecu::kova::var::VariablesClient> inner,
                       std::function<bool()> stop_wanted)
        : inner_(std::move(inner)), stop_wanted_(std::move(stop_wanted))
    {
    }

    /// As the inner client; `fallback` also when a stop ends the wait.
    std::string get(const std::string& name, const std::string& fallback,
                    std::chrono::milliseconds timeout) override;
    /// Waits until the variable is there; empty when a stop ends the wait.
    std::string await(const std::string& name);

    bool stop_wanted() const { return stop_wanted_(); }

private:
    std::shared_ptr<ecu::kova::var::VariablesClient> inner_;
    std::function<bool()> stop_wanted_;
};
