#include "at/at_command_response.hpp"

#include "at/fields.hpp"
#include "at/name_characters.hpp"

#include <cstdio>

AtCommandResponse::AtCommandResponse(Type kind, std::string_view text, std::string_view final_line)
    : type(kind), result(final_line)
{
    init(text);
}

AtCommandResponse::AtCommandResponse(std::string_view text, std::string_view final_line)
    : AtCommandResponse(Type::Final, text, final_line)
{
}

void AtCommandResponse::init(std::string_view text)
{
    message = text;
    prefix.clear();
    value = text;
    const auto colon = end_of_name(text);
    if (colon == std::string_view::npos || colon == 0 || text[colon] != ':') {
        return;
    }
    prefix = text.substr(0, colon);
    if (colon + 3 <= text.size()) {
        value = text.substr(colon + 2);
    }
}

std::string AtCommandResponse::payload(std::string_view wanted) const
{
    return std::string(at::last_piece_of(message, wanted).value_or(value));
}

bool AtCommandResponse::parse(const char* format, ...) const
{
    std::va_list arguments;
    va_start(arguments, format);
    const bool converted = vparse(format, arguments);
    va_end(arguments);
    return converted;
}

bool AtCommandResponse::vparse(const char* format, std::va_list arguments) const
{
    return std::vsscanf(value.c_str(), format, arguments) >= 1;
}

bool AtCommandResponse::operator==(std::string_view text) const
{
    return prefix.find(text) != std::string::npos;
}
