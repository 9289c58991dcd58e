#pragma once

#include "unit.hpp"

#include <vector>

/// Something that happens to a unit, from any thread but its own, and so at any moment of a pass.
struct Event {
    const char* name;
    void (*what)(Unit&);
    bool lasts = false; ///< for many passes: not within one

    /// Told in the log, which is what a run that falls short shows.
    void happens(Unit& unit) const;
};

const std::vector<Event>& all_events();
/// The same without those after which a unit may rightly end elsewhere.
std::vector<Event> passing_events();

/// Lasts longer than the unit bears to be without a backend, or without what else is away meanwhile.
bool is_long(const Event& event);
bool is_stop(const Event& event);

// The world around a unit.
/// The board's variables that are not as most units have them; empty for what it does not say. Before the
/// unit begins, or while it waits for them.
void board_says(Unit& unit, const std::map<std::string, std::string>& own);
void registered_as(Unit& unit, const std::string& status);
void context_is(Unit& unit, bool active);
void all_is_good(Unit& unit);
