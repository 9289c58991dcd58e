#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// Error numbers of 3GPP TS 27.007 clause 9.2 and, from 100 on, of the modules' AT manual; NONE is success.
enum class Cme {
    NONE = -1,
    OPERATION_NOT_ALLOWED = 3,
    OPERATION_NOT_SUPPORTED = 4,
    SIM_NOT_INSERTED = 10,
    SIM_PIN_REQUIRED = 11,
    SIM_PUK_REQUIRED = 12,
    SIM_FAILURE = 13,
    SIM_BUSY = 14,
    INCORRECT_PASSWORD = 16,
    INVALID_INDEX = 21,
    TEXT_TOO_LONG = 24,
    NO_NETWORK_SERVICE = 30,
    INCORRECT_PARAMETERS = 50,
    UNKNOWN = 100,
    UNSPECIFIED_GPRS_ERROR = 148,
};

/// What a command answers.
struct AtAnswer {
    std::vector<std::string> lines; ///< in front of the final result
    Cme error = Cme::NONE;
    std::string error_text;           ///< instead of the number's own text
    std::function<void()> afterwards; ///< once the final result is out

    static AtAnswer ok() { return {}; }
    static AtAnswer line(std::string text)
    {
        return {.lines = {std::move(text)}, .error_text = {}, .afterwards = {}};
    }
    static AtAnswer failed(Cme error)
    {
        return {.lines = {}, .error = error, .error_text = {}, .afterwards = {}};
    }
};

/// Does the line end a command by itself (V.250 clause 5.7, 3GPP TS 27.007 clause 9.1)?
bool is_final(const std::string& line);

/// The final result line of an error in the format that +CMEE chose: 0 bare, 1 numbers, 2 texts.
std::string error_result(Cme error, const std::string& text, int cmee);

} // namespace bench
