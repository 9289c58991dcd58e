#pragma once

#include "timer/clock.hpp"

#include <ecu/kova/var/variables_client.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

/// The unit's variables, waited for only while nobody wants a stop: a wait looks up every 200 ms. It is told
/// of at once and then every hour, on "celld.modem". Main thread only.
class StoppableVariables final : public ecu::kova::var::VariablesClient {
public:
    static constexpr std::chrono::milliseconds LOOK_INTERVAL{200};
    static constexpr std::chrono::hours TELL_INTERVAL{1};

    StoppableVariables(std::shared_ptr<ecu::kova::var::VariablesClient> inner,
                       std::function<bool()> stop_wanted, Clock& clock = SystemClock::instance())
        : inner_(std::move(inner)), stop_wanted_(std::move(stop_wanted)), clock_(clock)
    {
    }

    /// As the inner client; `fallback` also when the value is empty, or a stop ends the wait.
    std::string get(const std::string& name, const std::string& fallback,
                    std::chrono::milliseconds timeout) override;
    /// Waits until the variable is there; empty when a stop ends the wait.
    std::string await(const std::string& name);

    bool stop_wanted() const { return stop_wanted_(); }

private:
    using Patience = std::optional<std::chrono::milliseconds>; // without: for ever

    std::string wait_for(const std::string& name, Patience patience);
    std::string look(const std::string& name, std::chrono::milliseconds slice);
    void tell(const std::string& name, Patience patience, Clock::time_point begin) const;

    std::shared_ptr<ecu::kova::var::VariablesClient> inner_;
    std::function<bool()> stop_wanted_;
    Clock& clock_;
};
