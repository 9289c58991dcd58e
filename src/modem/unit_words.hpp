#pragma once

#include "utils/words.hpp"

#include <span>

/// An ECU variable that celld reads.
struct UnitVariable {
    const char* name;
    utils::Words values;    ///< those that somebody has; empty: any
    const char* without_it; ///< what becomes of a unit that does not say
    bool is_awaited;        ///< for ever: nothing goes on without it
};

/// All of them, in the order in which they are read. Any thread.
std::span<const UnitVariable> unit_variables();

/// The values known of one of them.
utils::Words unit_variable_values(const char* name);
