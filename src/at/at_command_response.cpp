#include "at/at_command_response.hpp"

#include "at/fields.hpp"
#include "at/name_characters.hpp"

#include <cstdio>
#include <vector>

namespace {

__attribute__((format(scanf, 2, 0))) int scan(const std::string& text, const char* format,
                                              std::va_list arguments)
{
    std::va_list copy; // the caller's list serves several scans
    va_copy(copy, arguments);
    // The analyzer does not follow va_copy from a parameter.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int converted = std::vsscanf(text.c_str(), format, copy);
    va_end(copy);
    return converted;
}

} // namespace

AtCommandResponse::AtCommandResponse(Type kind, const std::string& text, const std::string& final_line)
    : type(kind), result(final_line)
{
    init(text);
}

AtCommandResponse::AtCommandResponse(const std::string& text, const std::string& final_line)
    : AtCommandResponse(Type::Final, text, final_line)
{
}

void AtCommandResponse::init(const std::string& text)
{
    message = text;
    prefix.clear();
    value = text;
    const auto colon = text.find_first_not_of(NAME_CHARACTERS);
    if (colon == std::string::npos || colon == 0 || text[colon] != ':') {
        return;
    }
    prefix = text.substr(0, colon);
    if (colon + 3 <= text.size()) {
        value = text.substr(colon + 2);
    }
}

std::string AtCommandResponse::payload(const std::string& wanted) const
{
    const auto found = at::pieces_of(message, wanted);
    return found.empty() ? value : found.back();
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
    return scan(value, format, arguments) >= 1;
}

bool AtCommandResponse::vparse_payload(const std::string& wanted, const char* format,
                                       std::va_list arguments) const
{
    const auto found = at::pieces_of(message, wanted);
    if (found.empty()) {
        return vparse(format, arguments);
    }
    const std::string* best = nullptr;
    int most = 0;
    for (const auto& piece : found) {
        const int converted = scan(piece, format, arguments);
        if (converted >= 1 && converted >= most) {
            most = converted;
            best = &piece;
        }
    }
    // Shorter pieces have written into the caller's values too; the chosen one has the last word.
    return best != nullptr && scan(*best, format, arguments) >= 1;
}

bool AtCommandResponse::operator==(const std::string& text) const
{
    return prefix.find(text) != std::string::npos;
}
