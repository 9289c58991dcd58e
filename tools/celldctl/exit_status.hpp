#pragma once

#include <stdexcept>
#include <string>

namespace celldctl {

/// What scripts rely on: celldctl(1) has them all.
enum ExitStatus : int {
    SUCCESS = 0,
    NO = 1,            ///< asked and answered: `status` is not connected, `doctor` has found an error
    USAGE = 2,         ///< the command line
    NO_CONNECTION = 3, ///< there is no broker, or none that answers, or it went
    TIME_OVER = 4,     ///< the bus was there, but what was waited for has not come
    REFUSED = 5,       ///< the broker will not have this client: its login
    UNREADABLE = 6,    ///< something on the bus does not decode
    FAILURE = 7,       ///< anything else, told on standard error
    OUTPUT_GONE = 8,   ///< standard output cannot be written
    BY_SIGNAL = 128    ///< and the signal's number: interrupted before the answer
};

/// Ends the program with `status`; `what()` is told on standard error unless it is empty.
class Failure : public std::runtime_error {
public:
    Failure(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

/// The command line asks for something that there is not.
class UsageError : public Failure {
public:
    explicit UsageError(const std::string& text) : Failure(USAGE, text) {}
};

} // namespace celldctl
