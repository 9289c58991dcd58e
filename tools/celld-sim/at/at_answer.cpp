#include "at/at_answer.hpp"

namespace bench {
namespace {

const char* text_of(Cme error)
{
    switch (error) {
    case Cme::NONE:
        return "";
    case Cme::OPERATION_NOT_ALLOWED:
        return "operation not allowed";
    case Cme::OPERATION_NOT_SUPPORTED:
        return "operation not supported";
    case Cme::SIM_NOT_INSERTED:
        return "SIM not inserted";
    case Cme::SIM_PIN_REQUIRED:
        return "SIM PIN required";
    case Cme::SIM_PUK_REQUIRED:
        return "SIM PUK required";
    case Cme::SIM_FAILURE:
        return "SIM failure";
    case Cme::SIM_BUSY:
        return "SIM busy";
    case Cme::INCORRECT_PASSWORD:
        return "incorrect password";
    case Cme::INVALID_INDEX:
        return "invalid index";
    case Cme::TEXT_TOO_LONG:
        return "text string too long";
    case Cme::NO_NETWORK_SERVICE:
        return "no network service";
    case Cme::INCORRECT_PARAMETERS:
        return "Incorrect parameters";
    case Cme::UNKNOWN:
        return "unknown";
    case Cme::UNSPECIFIED_GPRS_ERROR:
        return "unspecified GPRS error";
    }
    return "unknown";
}

} // namespace

std::string error_result(Cme error, const std::string& text, int cmee)
{
    if (cmee == 0) {
        return "ERROR";
    }
    if (cmee == 1) {
        return "+CME ERROR: " + std::to_string(static_cast<int>(error));
    }
    return "+CME ERROR: " + (text.empty() ? text_of(error) : text);
}

bool is_final(const std::string& line)
{
    return line == "OK" || line == "ERROR" || line == "ABORTED" || line.starts_with("+CME ERROR:") ||
           line.starts_with("+CMS ERROR:");
}

} // namespace bench
