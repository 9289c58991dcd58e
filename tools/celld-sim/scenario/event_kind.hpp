#pragma once

#include <span>
#include <string>
#include <string_view>

namespace bench {

using EventFields = std::span<const std::string_view>;

/// What may set a line of a scenario off: a kind of the transcript, and how its argument is compared.
struct EventKind {
    std::string_view name;
    std::string_view arguments; ///< as the guide writes them
    bool (*possible)(std::string_view argument);
    bool (*matches)(std::string_view argument, EventFields fields); ///< `fields` as in the transcript
};

std::span<const EventKind> event_kinds();

/// Nothing found: null.
const EventKind* find_event_kind(std::string_view name);

/// Which event: of this kind, with this argument.
struct EventPattern {
    const EventKind* kind = nullptr;
    std::string argument{};

    bool matches(std::string_view name, EventFields fields) const
    {
        return kind != nullptr && kind->name == name && kind->matches(argument, fields);
    }
};

} // namespace bench
