#pragma once

#include "at/at_command_response.hpp"

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

/// The numbers are compared and logged as numbers; the gaps are on purpose.
enum class AtErrorCode : std::int32_t {
    Busy = 1,
    Timeout = 2,
    Error = 3,
    CmeError = 4,
    CmsError = 5,
    UnexpectedResponse = 12,
    ParseError = 13,
    PortClosed = 14,
};

/// Why a command failed.
struct AtError {
    /// Whether the module's words hold this text.
    bool says(const char* text) const
    {
        return final_response.find(text) != std::string::npos || message.find(text) != std::string::npos;
    }

    /// Whether nobody waited for the answer any more: says nothing about the module.
    bool is_interruption() const { return code == AtErrorCode::PortClosed && final_response == INTERRUPTED; }
    static constexpr const char* INTERRUPTED = "AT command interrupted";

    AtErrorCode code = AtErrorCode::Error;
    std::string message;        ///< the lines before the final one, or a text of the port's own
    std::string final_response; ///< the final line, or the same text of the port's own
};

namespace result_detail {
/// Writes `text` to standard error and ends the process: the caller has not looked before it unwrapped.
[[noreturn]] void die(const char* text);
} // namespace result_detail

/// Success or failure, as values. `unwrap()` of a failure and `unwrapErr()` of a success end the process.
template <class T, class E>
class [[nodiscard]] ResultOf {
public:
    static ResultOf ok(T value) { return ResultOf(std::in_place_index<0>, std::move(value)); }
    static ResultOf err(E error) { return ResultOf(std::in_place_index<1>, std::move(error)); }

    bool is_ok() const { return either_.index() == 0; }

    const T& unwrap() const
    {
        if (!is_ok()) {
            result_detail::die("Attempting to unwrap an error Result\n");
        }
        return *std::get_if<0>(&either_);
    }
    const E& unwrapErr() const
    {
        if (is_ok()) {
            result_detail::die("Attempting to unwrapErr an ok Result\n");
        }
        return *std::get_if<1>(&either_);
    }

private:
    template <std::size_t Index, class Value>
    ResultOf(std::in_place_index_t<Index> index, Value&& value) : either_(index, std::forward<Value>(value))
    {
    }

    std::variant<T, E> either_;
};

/// How every command ends.
using Result = ResultOf<AtCommandResponse, AtError>;
/// How opening, starting and stopping the port ends.
using PortResult = ResultOf<bool, std::string>;

/// "<code> '<message>' '<final response>'" with PINs and passwords masked: for records above DEBUG.
std::string to_log_text(const AtError& error);
