#include "fields.hpp"
#include "freshness.hpp"
#include "status_views.hpp"

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <sstream>

namespace celldctl {

namespace {

constexpr int TITLE_WIDTH = 8;
constexpr int LABEL_WIDTH = 17;
constexpr std::size_t LONGEST_VALUE = 64; // bytes; an operator's name has 20 or so
constexpr auto NOT_KNOWN = "--";

/// Cut at a character's begin.
std::string clipped(const std::string& text)
{
    if (text.size() <= LONGEST_VALUE) {
        return text;
    }
    std::size_t end = LONGEST_VALUE;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U) {
        --end;
    }
    return text.substr(0, end) + "...";
}

std::string shown(const std::optional<std::string>& text)
{
    return text ? printable(clipped(*text)) : NOT_KNOWN;
}

std::string shown(const std::optional<std::int64_t>& number, const std::string& unit = "")
{
    return number ? std::to_string(*number) + unit : NOT_KNOWN;
}

/// "internal" for "SIM_INTERNAL", and so on: the prefixes tell nothing beside their label.
std::string word(const std::optional<std::string>& name, std::string_view prefix)
{
    const bool prefixed = name && name->rfind(prefix, 0) == 0;
    return shown(prefixed ? std::optional(name->substr(prefix.size())) : name);
}

class Screen {
public:
    /// The rows that follow stand under this title.
    void group(std::string_view title)
    {
        title_ = title;
        out_ << "  " << std::string(TITLE_WIDTH + LABEL_WIDTH + 6, '-') << '\n';
    }

    void row(std::string_view label, std::string_view value)
    {
        out_ << "  " << std::left << std::setw(TITLE_WIDTH) << title_ << " | " << std::right
             << std::setw(LABEL_WIDTH) << label << ": " << value << '\n';
        title_ = "";
    }

    std::string text() const { return out_.str(); }

private:
    std::ostringstream out_;
    std::string_view title_;
};

void add_status(Screen& screen, const ModemFacts& facts)
{
    screen.group("Status");
    screen.row("state", shown(facts.state));
    screen.row("reset reason", shown(facts.reset_reason));
    screen.row("backend", word(facts.backend, "BACKEND_"));
}

/// The name of the generation beside the name of the standard.
std::string technology(const ModemFacts& facts)
{
    return shown(facts.technology) + (facts.technology == "EUTRAN" ? " (LTE)" : "");
}

void add_network(Screen& screen, const ModemFacts& facts)
{
    screen.group("Network");
    screen.row("registration", shown(facts.registration));
    screen.row("packet service", word(facts.packet_service, "PS_"));
    screen.row("technology", technology(facts));
    screen.row("operator", shown(facts.operator_name));
    screen.row("operator id", shown(facts.operator_id));
    screen.row("SIM's operator", shown(facts.sim_operator_name));
    screen.row("network time", shown(facts.network_time));
}

void add_radio(Screen& screen, const ModemFacts& facts)
{
    screen.group("Cell");
    screen.row("mcc", shown(facts.mcc));
    screen.row("mnc", shown(facts.mnc));
    screen.row("area code", shown(facts.area_code));
    screen.row("cell id", shown(facts.cell_id));
    screen.row("routing area", shown(facts.routing_area_code));
    screen.group("Signal");
    screen.row("strength", shown(facts.rssi_dbm, " dBm"));
    screen.row("bars", shown(facts.bars, " of " + std::to_string(MOST_BARS)));
}

void add_sims(Screen& screen, const ModemFacts& facts)
{
    screen.group("SIM");
    screen.row("active", word(facts.active_sim, "SIM_"));
    for (const auto& sim : facts.sims) {
        const auto type = word(sim.type, "SIM_");
        screen.row(type + " ICCID", shown(sim.iccid));
        screen.row(type + " IMSI", shown(sim.imsi));
    }
}

void add_hardware(Screen& screen, const ModemFacts& facts)
{
    screen.group("Hardware");
    screen.row("manufacturer", shown(facts.manufacturer));
    screen.row("model", shown(facts.model));
    screen.row("IMEI", shown(facts.imei));
}

/// "3 s, hardware 5 min 02 s, sim 5 min 02 s": the status first, and what is older by more than a moment.
std::string ages(const ModemFacts& facts)
{
    constexpr std::int64_t MOMENT_S = 1; // what is sent together need not say so
    std::string list;
    std::int64_t shown_s = -1;
    for (const auto& [name, age_s] : facts.ages_s) {
        if (!age_s || (shown_s >= 0 && std::abs(*age_s - shown_s) <= MOMENT_S)) {
            continue;
        }
        shown_s = *age_s;
        list += (list.empty() ? "" : ", ") + std::string(name) + " " +
                duration_text(std::chrono::seconds(*age_s));
    }
    return list;
}

void add_bus(Screen& screen, const ModemFacts& facts, const Snapshot& snapshot)
{
    const std::pair<const char*, std::string> rows[] = {
        {"age", ages(facts)},
        {"not there", snapshot.names(Presence::MISSING)},
        {"unreadable", snapshot.names(Presence::UNREADABLE)},
        {"daemon", facts.daemon_gone          ? "gone; the rest is what it said last"
                   : facts.bridge_up == false ? "out of reach, its bridge is down; this is what it said last"
                   : facts.stale              ? "silent; this is what it said last"
                                              : ""},
    };
    if (std::all_of(std::begin(rows), std::end(rows), [](const auto& row) { return row.second.empty(); })) {
        return;
    }
    screen.group("Bus");
    for (const auto& [label, value] : rows) {
        if (!value.empty()) {
            screen.row(label, value);
        }
    }
}

} // namespace

std::string journal_text(const JournalCounts& journal)
{
    return journal.counts ? "  Journal: " + counts_text(*journal.counts) : "";
}

std::string status_text(const ModemFacts& facts, const Snapshot& snapshot)
{
    Screen screen;
    add_status(screen, facts);
    add_network(screen, facts);
    add_radio(screen, facts);
    add_sims(screen, facts);
    add_hardware(screen, facts);
    add_bus(screen, facts, snapshot);
    return screen.text();
}

} // namespace celldctl
