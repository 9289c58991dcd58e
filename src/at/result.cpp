#include "at/result.hpp"

#include "at/at_text.hpp"

#include <cstdio>
#include <cstdlib>

void result_detail::die(const char* text)
{
    std::fputs(text, stderr);
    std::abort(); // not std::terminate, which would add a line of its own
}

std::string to_log_text(const AtError& error)
{
    return std::to_string(static_cast<std::int32_t>(error.code)) + " '" + at::mask_secrets(error.message) +
           "' '" + at::mask_secrets(error.final_response) + "'";
}
