#pragma once

#include <string_view>

/// What the name of an extended or basic command is made of (ITU-T V.250, 5.4.1), together with '&' and '\'
/// of the older basic commands: the first other character ends the name.
inline constexpr std::string_view NAME_CHARACTERS =
    "\\&+ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
