#include "exit_status.hpp"
#include "fleet/fleet_rows.hpp"

#include <array>
#include <charconv>
#include <fnmatch.h>

namespace celldctl {

namespace {

using Number = std::optional<std::int64_t>;

struct TextKey {
    const char* name;
    bool (*matches)(const FleetRow&, const char* pattern);
};
struct NumberKey {
    const char* name;
    Number (*value)(const FleetRow&, FleetTime now);
};

bool fits(const char* pattern, const std::optional<std::string>& text)
{
    return fnmatch(pattern, text.value_or("").c_str(), FNM_CASEFOLD | FNM_NOESCAPE) == 0;
}

constexpr std::array TEXT_KEYS{
    TextKey{"unit", [](const FleetRow& row, const char* pattern) { return fits(pattern, row.id); }},
    TextKey{"state",
            [](const FleetRow& row, const char* pattern) {
                return fits(pattern, shown_state(row.unit)) || fits(pattern, state_word(row.unit));
            }},
    TextKey{"operator",
            [](const FleetRow& row, const char* pattern) {
                return fits(pattern, row.unit.operator_name) || fits(pattern, row.unit.operator_id);
            }},
    TextKey{"reset",
            [](const FleetRow& row, const char* pattern) { return fits(pattern, row.unit.reset_reason); }},
};
constexpr std::array NUMBER_KEYS{
    NumberKey{"signal", [](const FleetRow& row, FleetTime) { return row.unit.rssi_dbm; }},
    NumberKey{"bars", [](const FleetRow& row, FleetTime) { return row.unit.bars; }},
    NumberKey{"starts", [](const FleetRow& row, FleetTime) { return Number(row.unit.starts); }},
    NumberKey{"since", [](const FleetRow& row,
                          FleetTime now) { return Number(shown_duration(row.unit, now).count()); }},
    NumberKey{"seen",
              [](const FleetRow& row, FleetTime now) {
                  const auto ago = silence(row.unit, now);
                  return ago ? Number(ago->count()) : Number();
              }},
};

FleetFilter text_filter(const TextKey& key, std::string pattern, bool wanted)
{
    return [&key, pattern = std::move(pattern), wanted](const FleetRow& row, FleetTime) {
        return key.matches(row, pattern.c_str()) == wanted;
    };
}

FleetFilter number_filter(const NumberKey& key, std::int64_t limit, bool less)
{
    return [&key, limit, less](const FleetRow& row, FleetTime now) {
        const auto value = key.value(row, now);
        return value && (less ? *value < limit : *value > limit);
    };
}

/// The whole of it.
Number number_of(const std::string& text)
{
    std::int64_t number = 0;
    const auto* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end ? Number(number) : Number();
}

} // namespace

FleetFilter fleet_filter(const std::string& expression)
{
    const auto end = expression.find_first_of("!=<>");
    const auto key = expression.substr(0, end);
    const auto sign =
        end == std::string::npos ? std::string() : expression.substr(end, expression[end] == '!' ? 2 : 1);
    const auto value = sign.empty() ? std::string() : expression.substr(end + sign.size());
    for (const auto& known : TEXT_KEYS) {
        if (key == known.name && (sign == "=" || sign == "!=")) {
            return text_filter(known, value, sign == "=");
        }
    }
    for (const auto& known : NUMBER_KEYS) {
        if (const auto number = number_of(value);
            key == known.name && number && (sign == "<" || sign == ">")) {
            return number_filter(known, *number, sign == "<");
        }
    }
    throw UsageError("--filter '" + expression +
                     "' is none: unit, state, operator or reset with = or != and a pattern; "
                     "signal, bars, starts, since or seen with < or > and a number");
}

} // namespace celldctl
