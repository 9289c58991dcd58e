#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "timer/clock.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A question that the module is asked again and again.
class PeriodicQuery {
public:
    using Callback = std::function<void(AtTtyPort&)>;

    PeriodicQuery(std::string&& name, std::chrono::seconds period, Callback callback,
                  Clock& clock = SystemClock::instance());

    /// Runs the callback when more than the period has passed since the last run, or when forced. The first
    /// call always runs it.
    void exec(AtTtyPort& port, bool force);
    const std::string& name() const { return name_; }

private:
    std::string name_;
    std::chrono::seconds period_;
    Callback callback_;
    Clock& clock_;
    std::optional<Clock::time_point> last_run_;
};

/// Asks the module what changes slowly, and keeps the record of it fresh. Logs on "celld.status.query".
/// Main thread only; a query blocks for its commands' time-outs.
class StatusQueries {
public:
    StatusQueries(std::shared_ptr<AtTtyPort> port, ModemData& data, Clock& clock);

    /// What was known of a network belongs to it: the operator of one that was left is forgotten, and asked
    /// again with the next `run` once the module is on another one, or on one again.
    void take_network_change();
    /// Asks what is due (everything with `force`), while there is a module that answers.
    void run(bool force);

private:
    /// By what a network that the module has changed to is known.
    struct Network {
        bool registered = false;
        int status = -1;
        std::uint32_t area = 0;
        bool operator==(const Network&) const = default;
    };

    bool module_answers() const;
    void ask_operator(AtTtyPort& port);
    void ask_time(AtTtyPort& port);

    std::shared_ptr<AtTtyPort> port_;
    ModemData& data_;
    std::vector<PeriodicQuery> queries_;
    Network network_;
    bool operator_owed_ = false; // not asked yet on this network
};
