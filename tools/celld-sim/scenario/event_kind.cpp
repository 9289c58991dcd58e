#include "scenario/event_kind.hpp"

#include "at/at_request.hpp"

#include <algorithm>
#include <array>

namespace bench {
namespace {

constexpr std::string_view ATTENTION = "AT"; ///< in front of every command line (V.250 clause 5.2.1)

std::string_view field(EventFields fields, std::size_t index)
{
    return index < fields.size() ? fields[index] : std::string_view();
}

bool any_text(std::string_view argument)
{
    return !argument.empty();
}

template <std::size_t INDEX>
bool begins(std::string_view argument, EventFields fields)
{
    return field(fields, INDEX).starts_with(argument);
}

bool one_word(std::string_view argument)
{
    return !argument.empty() && argument.find(' ') == std::string_view::npos;
}

/// As for the controls: "AT" is the bare command, "*" any.
template <std::size_t INDEX>
bool is_command(std::string_view prefix, EventFields fields)
{
    const auto line = field(fields, INDEX);
    if (!line.starts_with(ATTENTION) || prefix == "*") {
        return prefix == "*";
    }
    const auto requests = parse_command_line(line.substr(ATTENTION.size()));
    if (prefix == ATTENTION) {
        return requests.empty();
    }
    return std::any_of(requests.begin(), requests.end(), [prefix](const AtRequest& request) {
        return starts_with_ignoring_case(request.text, prefix);
    });
}

template <std::size_t SIZE>
bool contains(const std::array<std::string_view, SIZE>& words, std::string_view word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool module_state(std::string_view argument)
{
    return contains(std::array<std::string_view, 3>{"booting", "up", "down"}, argument);
}

bool port_state(std::string_view argument)
{
    return contains(std::array<std::string_view, 4>{"there", "gone", "open", "closed"}, argument);
}

bool same(std::string_view argument, EventFields fields)
{
    return field(fields, 0) == argument;
}

bool line_state(std::string_view argument)
{
    const auto blank = std::min(argument.find(' '), argument.size());
    const auto state = argument.substr(std::min(blank + 1, argument.size()));
    return contains(std::array<std::string_view, 3>{"VCC", "PWRON", "RESET"}, argument.substr(0, blank)) &&
           contains(std::array<std::string_view, 3>{"on", "off", "pulsed"}, state);
}

bool line_became(std::string_view argument, EventFields fields)
{
    const auto blank = argument.find(' ');
    const auto state = argument.substr(blank + 1);
    return field(fields, 0) == argument.substr(0, blank) &&
           (field(fields, 1) == state || field(fields, 2) == state);
}

bool attempts(std::string_view argument)
{
    return argument.size() == 1 && argument >= "0" && argument <= "3";
}

constexpr std::array KINDS{
    EventKind{"command", "PREFIX", one_word, is_command<1>},
    EventKind{"answer", "PREFIX", one_word, is_command<3>},
    EventKind{"unanswered", "PREFIX", one_word, is_command<3>},
    EventKind{"report", "TEXT", any_text, begins<0>},
    EventKind{"line", "VCC|PWRON|RESET on|off|pulsed", line_state, line_became},
    EventKind{"module", "booting|up|down", module_state, same},
    EventKind{"port", "there|gone|open|closed", port_state, same},
    EventKind{"pin", "0|1|2|3", attempts, same},
    EventKind{"note", "TEXT", any_text, begins<0>},
};

} // namespace

std::span<const EventKind> event_kinds()
{
    return KINDS;
}

const EventKind* find_event_kind(std::string_view name)
{
    const auto* const found =
        std::find_if(KINDS.begin(), KINDS.end(), [name](const EventKind& kind) { return kind.name == name; });
    return found == KINDS.end() ? nullptr : found;
}

} // namespace bench
