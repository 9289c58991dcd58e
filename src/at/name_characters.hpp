#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

/// What the name of an extended or basic command is made of (ITU-T V.250, 5.4.1), together with '&' and '\'
/// of the older basic commands: the first other character ends the name.
inline constexpr std::string_view NAME_CHARACTERS =
    "\\&+ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

/// The place of that character, or npos. Every line of the module passes here, so each of its characters is
/// looked up once.
inline std::size_t end_of_name(std::string_view text)
{
    static constexpr auto IS_OF_NAME = [] {
        std::array<bool, 256> of_name{};
        for (const char character : NAME_CHARACTERS) {
            of_name[static_cast<unsigned char>(character)] = true;
        }
        return of_name;
    }();
    const auto* const end = std::find_if(text.begin(), text.end(), [](char character) {
        return !IS_OF_NAME[static_cast<unsigned char>(character)];
    });
    return end == text.end() ? std::string_view::npos : static_cast<std::size_t>(end - text.begin());
}
