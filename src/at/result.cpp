#include "at/result.hpp"

#include "utils/strings.hpp"

#include <cstdio>
#include <cstdlib>

void result_detail::die(const char* text)
{
    std::fputs(text, stderr);
    std::abort(); // not std::terminate, which would add a line of its own
}

std::string to_log_text(const AtError& error)
{
    return std::to_string(static_cast<std::int32_t>(error.code)) + " '" + utils::mask_secrets(error.message) +
           "' '" + utils::mask_secrets(error.final_response) + "'";
}
