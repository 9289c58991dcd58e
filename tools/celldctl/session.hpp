#pragma once

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/kova/config/configuration.hpp>

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace celldctl {

enum ExitStatus : int {
    SUCCESS = 0,
    FAILURE = 1,
    NOT_CONNECTED = 1, ///< for `status` the plain "no"
    USAGE = 2,
    NO_ANSWER = 3, ///< the bus did not answer in time, or its answer could not be told
    TIME_OVER = 4, ///< the bus answered, but what was waited for has not come
};

/// The command line asks for something that there is not; `what()` says what.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The words behind the verb: positional ones, options that each take a value, and flags.
class Arguments {
public:
    explicit Arguments(std::vector<std::string> words) : words_(std::move(words)) {}

    /// The value of `--name VALUE` or `--name=VALUE`, taken out of the words. Throws UsageError when the
    /// value is missing.
    std::optional<std::string> take_option(const std::string& name);
    /// The same, as seconds from 1 to 86400. Throws UsageError for anything else.
    std::optional<std::chrono::seconds> take_seconds(const std::string& name);
    /// Whether `--name` was there; it takes no value.
    bool take_flag(const std::string& name);
    /// The next positional word, if there is one.
    std::optional<std::string> take_word();
    /// Throws UsageError when anything is left.
    void expect_none() const;

private:
    std::vector<std::string> words_;
};

/// SIGINT and SIGTERM as something to wait for. Blocks both: make it before any thread.
class StopSignals {
public:
    StopSignals();
    /// True as soon as one has arrived, false after `timeout`.
    bool wait(std::chrono::milliseconds timeout);

private:
    bool stopped_ = false;
};

/// What every verb works with.
struct Session {
    ecu::kova::config::Configuration configuration;
    StopSignals stop;

    std::shared_ptr<ecu::kova::com::ITransportClient> connect_in_background() const;
    /// Null (told on standard error) when there is no connection within ten seconds or a signal came first.
    std::shared_ptr<ecu::kova::com::ITransportClient> connect();
    /// "host:port".
    std::string broker() const;
    /// "no answer from host:port within 5 s".
    std::string no_answer_within(std::chrono::seconds timeout) const;
};

/// Puts the host, port and "bus." keys of "/etc/vexa/celld.conf" into the configuration, and a client name of
/// this process: two clients of one name throw each other off the bus. Throws ConfigurationError.
void read_bus_configuration(ecu::kova::config::Configuration& configuration);

/// Tells a failure on standard error.
void complain(std::string_view text);

} // namespace celldctl
