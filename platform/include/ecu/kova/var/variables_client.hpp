#pragma once

#include <ecu/pb/modem.pb.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// ECU variables ("/etc/vexa/ecu_variables.conf", by name) and system parameters
/// ("/etc/vexa/system_parameters.conf", by decimal number), in the syntax of the configuration file. Both
/// files are looked at afresh on every read. A missing file or key is an absent value, never an error; a
/// broken line is skipped with a WARNING on "kova.var".
namespace ecu::kova::var {

class VariablesClient {
public:
    virtual ~VariablesClient() = default;

    /// The variable's value, without the double quotes around it, waiting for it to appear for `timeout` at
    /// most; `fallback` when it never does.
    virtual std::string get(const std::string& name, const std::string& fallback,
                            std::chrono::milliseconds timeout) = 0;

    /// Why the variable is absent, for the log of whoever waits for it: names the file, and whether that is
    /// missing, cannot be read (with the system's reason) or has no value for it. Empty when nothing is
    /// known.
    virtual std::string absence(const std::string& /*name*/) { return {}; }
};

class SystemParametersClient {
public:
    virtual ~SystemParametersClient() = default;

    /// The parameter as it stands in the file now. A value in double quotes is the text between them, a bare
    /// decimal integer a number and, as it is written (leading zeros), a text; anything else is a text.
    virtual std::optional<pb::SystemParameterEntry> get(std::uint32_t id) = 0;
};

std::shared_ptr<VariablesClient> create_var_client();
std::shared_ptr<SystemParametersClient> create_sysparams_client();

} // namespace ecu::kova::var
