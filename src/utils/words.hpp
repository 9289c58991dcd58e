#pragma once

#include <ecu/kova/logging.hpp>

#include <span>
#include <string>
#include <string_view>

/// Words that a person writes and that may be slips of the pen. May be called from any thread.
namespace utils {

using Words = std::span<const char* const>;

bool is_among(std::string_view word, Words known);

/// "one, two, three".
std::string listed(Words known);

/// The known word that was most likely meant: the one with the fewest letters changed, left out, put in or
/// swapped with their neighbour, case aside; null when that is more than a third of the letters (or more than
/// one of a short word).
const char* nearest(std::string_view word, Words known);

/// "<what> is '<word>', which is none of <known>" at WARNING for a word that is neither empty nor known: what
/// it does stays, but nobody has it on purpose.
void warn_of_unknown(const ecu::kova::logging::Module& log, const std::string& what, const std::string& word,
                     Words known);

} // namespace utils
