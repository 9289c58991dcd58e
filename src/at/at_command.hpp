#pragma once

#include "at/result.hpp"

#include <chrono>
#include <cstdint>
#include <string>

// A value with one virtual operation: see below why its destructor is not virtual.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// One command to the module (3GPP TS 27.007, ITU-T V.250): its text without the leading "AT", its time-out,
/// and the prefix its answer lines carry. A value; `parameters` is its only virtual operation and it is never
/// deleted through a base pointer.
class AtCommand {
public:
    enum class Type : std::int32_t {
        Set = 0,    ///< "=" and parameters, or a basic command ("E0")
        Read = 1,   ///< name and "?"
        Test = 2,   ///< name and "=?"
        Action = 3, ///< an extended command of name characters only ("+CSQ")
        Other = 4,  ///< anything else
    };

    static constexpr std::chrono::seconds DEFAULT_TIMEOUT{10};

    explicit AtCommand(const std::string& command);
    AtCommand(const std::string& command, std::chrono::seconds timeout);

    /// Classifies `command` into `type`.
    void init();

    std::string prefix() const;
    /// The exact bytes for the port. Nothing is escaped or validated.
    std::string build() const;
    /// Appended to `command` when the line is built.
    virtual std::string parameters() const;

    /// The command for records above DEBUG: the PIN of "+CPIN=" and user and password of "+UAUTHREQ=" and
    /// "+UCGDFLT=" are "***".
    std::string text_for_log() const;

    static Result exec_result(AtCommandResponse&& response);

    std::string expected_prefix;
    std::string command;
    std::chrono::seconds timeout = DEFAULT_TIMEOUT;
    Type type = Type::Other;
    bool interruptible = true; ///< false: waited for even while the port is interrupted
};

#pragma GCC diagnostic pop
