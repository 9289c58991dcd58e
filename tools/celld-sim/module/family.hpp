#pragma once

#include <optional>
#include <string_view>

namespace bench {

/// The module families, as bits so that a command can belong to both.
enum class Family : unsigned { SARA = 1, TOBY = 2 };

constexpr unsigned SARA_ONLY = 1;
constexpr unsigned TOBY_ONLY = 2;
constexpr unsigned BOTH = SARA_ONLY | TOBY_ONLY;

constexpr bool belongs(Family family, unsigned families)
{
    return (static_cast<unsigned>(family) & families) != 0;
}

inline std::optional<Family> family_from(std::string_view text)
{
    if (text == "sara") {
        return Family::SARA;
    }
    if (text == "toby") {
        return Family::TOBY;
    }
    return std::nullopt;
}

} // namespace bench
