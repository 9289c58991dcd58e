#pragma once

#include "watch/watch_model.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace celldctl {

struct ScreenSize {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

enum class Style { PLAIN, TITLE, GOOD, WARNING, BAD };

struct ScreenLine {
    std::string text; ///< `columns` characters at most, without control characters
    Style style = Style::PLAIN;
};

/// The text up to that many characters of UTF-8.
std::string clipped(const std::string& text, std::size_t columns);
/// Blanks behind it up to that many characters.
std::string padded(std::string text, std::size_t columns);

/// What is on the screen: never more lines or columns than there are. Pure.
std::vector<ScreenLine> watch_screen(const WatchModel& model, WatchModel::Time now, const std::string& broker,
                                     const ScreenSize& size, bool utf8);

} // namespace celldctl
