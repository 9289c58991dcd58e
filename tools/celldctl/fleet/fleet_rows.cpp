#include "fleet/fleet_rows.hpp"

#include "fields.hpp"
#include "freshness.hpp"
#include "watch/watch_screen.hpp"

#include <algorithm>
#include <array>

namespace celldctl {

namespace {

using std::chrono::seconds;

constexpr auto NOT_KNOWN = "--";

struct Column {
    const char* word;
    const char* title;
    std::size_t width;
    bool (*before)(const FleetRow& one, const FleetRow& other);
    std::string (*text)(const FleetRow& row, FleetTime now);
};

std::string shown(const std::optional<std::string>& text)
{
    return text ? printable(*text) : NOT_KNOWN;
}

/// Trouble first, then by the distance from being connected.
int rank(const UnitRecord& unit)
{
    constexpr int ANY_STATE = 100;
    return unit.condition == Condition::UP ? (unit.state ? static_cast<int>(*unit.state) : -ANY_STATE)
                                           : -ANY_STATE - static_cast<int>(unit.condition);
}

FleetTime began(const UnitRecord& unit)
{
    return unit.condition == Condition::UP ? unit.since : unit.condition_since;
}

constexpr std::array COLUMNS{
    Column{"unit", "UNIT", 18, [](const FleetRow& one, const FleetRow& other) { return one.id < other.id; },
           [](const FleetRow& row, FleetTime) {
               return printable(row.id) + (row.unit.two_senders ? " !" : "");
           }},
    Column{"state", "STATE", 14,
           [](const FleetRow& one, const FleetRow& other) { return rank(one.unit) < rank(other.unit); },
           [](const FleetRow& row, FleetTime) { return shown_state(row.unit); }},
    Column{"since", "SINCE", 14,
           [](const FleetRow& one, const FleetRow& other) { return began(one.unit) < began(other.unit); },
           [](const FleetRow& row, FleetTime now) {
               const bool certain = row.unit.condition != Condition::UP || row.unit.seen_to_begin;
               return (certain ? "" : "> ") + duration_text(shown_duration(row.unit, now));
           }},
    Column{"operator", "OPERATOR", 16,
           [](const FleetRow& one, const FleetRow& other) {
               return one.unit.operator_name < other.unit.operator_name;
           },
           [](const FleetRow& row, FleetTime) { return shown(row.unit.operator_name); }},
    Column{"signal", "SIGNAL", 9,
           [](const FleetRow& one, const FleetRow& other) { return one.unit.rssi_dbm < other.unit.rssi_dbm; },
           [](const FleetRow& row, FleetTime) {
               return row.unit.rssi_dbm ? std::to_string(*row.unit.rssi_dbm) + " dBm" : NOT_KNOWN;
           }},
    Column{
        "seen", "SEEN", 12,
        [](const FleetRow& one, const FleetRow& other) { return one.unit.last_seen < other.unit.last_seen; },
        [](const FleetRow& row, FleetTime now) {
            const auto ago = silence(row.unit, now);
            return ago ? duration_text(*ago) : std::string(NOT_KNOWN);
        }},
    Column{"resets", "RESETS", 0,
           [](const FleetRow& one, const FleetRow& other) { return one.unit.starts > other.unit.starts; },
           [](const FleetRow& row, FleetTime) {
               return std::to_string(row.unit.starts) + " " + shown(row.unit.reset_reason);
           }},
};

/// With a blank behind it; what is too long is cut. The last column has no width.
std::string cell(const std::string& text, std::size_t width)
{
    return width == 0 ? text : padded(clipped(text, width), width + 1);
}

const Column& column(const std::string& word)
{
    const auto found =
        std::find_if(COLUMNS.begin(), COLUMNS.end(), [&](const auto& known) { return word == known.word; });
    return found == COLUMNS.end() ? COLUMNS.front() : *found;
}

} // namespace

utils::Words fleet_columns()
{
    static const auto WORDS = [] {
        std::array<const char*, COLUMNS.size()> words{};
        std::transform(COLUMNS.begin(), COLUMNS.end(), words.begin(),
                       [](const auto& known) { return known.word; });
        return words;
    }();
    return WORDS;
}

bool FleetChoice::takes(const FleetRow& row, FleetTime now) const
{
    return std::all_of(filters.begin(), filters.end(), [&](const auto& filter) { return filter(row, now); });
}

std::vector<FleetRow> fleet_rows(const FleetModel& model, const FleetChoice& choice, FleetTime now)
{
    std::vector<const FleetModel::Units::value_type*> chosen;
    chosen.reserve(model.units().size());
    for (const auto& unit : model.units()) {
        if (choice.takes({unit.first, unit.second}, now)) {
            chosen.push_back(&unit);
        }
    }
    const auto before = column(choice.sort).before;
    std::stable_sort(chosen.begin(), chosen.end(), [before](const auto* one, const auto* other) {
        return before({one->first, one->second}, {other->first, other->second});
    });
    if (choice.reverse) {
        std::reverse(chosen.begin(), chosen.end());
    }
    std::vector<FleetRow> rows;
    rows.reserve(chosen.size());
    for (const auto* const unit : chosen) {
        rows.push_back({unit->first, unit->second});
    }
    return rows;
}

std::string shown_state(const UnitRecord& unit)
{
    return unit.condition == Condition::UP ? state_word(unit).value_or(NOT_KNOWN) : word(unit.condition);
}

seconds shown_duration(const UnitRecord& unit, FleetTime now)
{
    const auto since = began(unit);
    return since == FleetTime() ? seconds(0) : std::max(seconds(0), std::chrono::floor<seconds>(now - since));
}

std::optional<seconds> silence(const UnitRecord& unit, FleetTime now)
{
    return unit.last_seen
               ? std::optional(std::max(seconds(0), std::chrono::floor<seconds>(now - *unit.last_seen)))
               : std::nullopt;
}

std::string fleet_head()
{
    std::string line;
    for (const auto& known : COLUMNS) {
        line += cell(known.title, known.width);
    }
    return line;
}

std::string fleet_line(const FleetRow& row, FleetTime now)
{
    std::string line;
    for (const auto& known : COLUMNS) {
        line += cell(known.text(row, now), known.width);
    }
    return line;
}

std::string fleet_summary(const FleetModel& model)
{
    std::map<std::string, std::size_t> counts;
    for (const auto& [id, unit] : model.units()) {
        ++counts[shown_state(unit)];
    }
    std::vector<std::pair<std::string, std::size_t>> most(counts.begin(), counts.end());
    std::stable_sort(most.begin(), most.end(),
                     [](const auto& one, const auto& other) { return one.second > other.second; });
    auto text = std::to_string(model.units().size()) + (model.units().size() == 1 ? " unit" : " units");
    for (std::size_t index = 0; index < most.size(); ++index) {
        text += (index == 0 ? ": " : ", ") + std::to_string(most[index].second) + " " + most[index].first;
    }
    return text;
}

} // namespace celldctl
