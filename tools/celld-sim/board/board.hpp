#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace bench {

enum class BoardType { QBX, K7 };

/// The lines between the control unit and the module.
enum class Line { VCC, PWRON, RESET, SIMLOCK, VINT };

inline const char* text_of(Line line)
{
    switch (line) {
    case Line::VCC:
        return "VCC";
    case Line::PWRON:
        return "PWRON";
    case Line::RESET:
        return "RESET";
    case Line::SIMLOCK:
        return "SIMLOCK";
    case Line::VINT:
        return "VINT";
    }
    return "";
}

struct Pin {
    Line line;
    int number;       ///< GPIO number as sysfs shows it
    bool active_low;  ///< the line is on when the pin reads 0
    bool driven_here; ///< an input of the control unit: the bench sets its value
};

/// Schematics of the boards: QBX and RMX share one layout, the K7 has an inverted supply switch and no SIM
/// lock.
inline constexpr std::array QBX_PINS{
    Pin{Line::VCC, 3, false, false},     Pin{Line::PWRON, 144, false, false},
    Pin{Line::RESET, 145, false, false}, Pin{Line::SIMLOCK, 142, false, true},
    Pin{Line::VINT, 9, true, true},
};
inline constexpr std::array K7_PINS{
    Pin{Line::VCC, 162, true, false},
    Pin{Line::PWRON, 157, false, false},
    Pin{Line::RESET, 156, false, false},
    Pin{Line::VINT, 160, true, true},
};

inline std::optional<BoardType> board_from(std::string_view text)
{
    if (text == "qbx") {
        return BoardType::QBX;
    }
    if (text == "k7") {
        return BoardType::K7;
    }
    return std::nullopt;
}

} // namespace bench
