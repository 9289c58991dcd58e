#include "fields.hpp"
#include "freshness.hpp"
#include "history_model.hpp"
#include "utils/utc.hpp"

#include <algorithm>

namespace celldctl {

namespace {

using Kind = JournalRecord::Kind;

constexpr const char* INDENT = "                     ";
constexpr std::size_t KIND_WIDTH = 11;

/// "2026-11-25 16:05:01", or "?" behind it where the clock was never set.
std::string time_text(const History::Row& row)
{
    auto text = utils::utc_text(row.time).substr(0, 19);
    text[10] = ' ';
    return text + (row.time_known ? " " : "?");
}

const char* word_of(Kind kind)
{
    switch (kind) {
    case Kind::START:
        return "started";
    case Kind::CONNECTED:
        return "connected";
    case Kind::LOST:
        return "lost";
    case Kind::RESET:
        return "reset";
    case Kind::FAULT:
        return "FAULT";
    case Kind::OFF:
        return "off";
    case Kind::END:
        return "ended";
    }
    return "";
}

std::string outcome(const History::Row& row)
{
    const auto& record = row.record;
    if (record.kind == Kind::CONNECTED) {
        return record.lasted ? ", after " + duration_text(*record.lasted) : "";
    }
    std::string text = record.lasted ? ", had been connected for " + duration_text(*record.lasted) : "";
    if (!row.until_connected) {
        return text + ", not connected since";
    }
    text += record.kind == Kind::START ? ", connected after " : ", connected again after ";
    return text + duration_text(*row.until_connected);
}

std::string chain_text(const History& history, const History::Row& row)
{
    std::string text = std::string(INDENT) + "trouble code rt/system/status_modem_module_error, behind " +
                       std::to_string(row.chain.size()) + " resets\n";
    for (const auto index : row.chain) {
        const auto& reset = history.rows[index];
        text += std::string(INDENT) + "  " + time_text(reset) + ' ' + printable(reset.record.reason) + ": " +
                printable(reset.record.cause) + '\n';
    }
    return text;
}

std::string row_text(const History& history, const History::Row& row)
{
    const auto& record = row.record;
    std::string kind = word_of(record.kind);
    kind.resize(std::max(kind.size(), KIND_WIDTH), ' ');
    std::string text = time_text(row) + ' ' + kind;
    text += record.reason.empty() ? "" : printable(record.reason) + ": ";
    text += printable(record.cause) + outcome(row) + '\n';
    if (record.unwritten > 0) {
        text += std::string(INDENT) + "before it " + std::to_string(record.unwritten) +
                " losses and connections that were too many to write\n";
    }
    if (!record.road.empty() && record.kind != Kind::START) {
        text += std::string(INDENT) + "road: " + printable(record.road) + '\n';
    }
    return text + (record.kind == Kind::FAULT ? chain_text(history, row) : "");
}

} // namespace

std::string counts_text(const History::Counts& counts)
{
    std::string text = "resets " + std::to_string(counts.resets) + ", connections " +
                       std::to_string(counts.connections) + ", connected " + duration_text(counts.connected);
    if (counts.last_connected) {
        auto time = utils::utc_text(*counts.last_connected).substr(0, 19);
        time[10] = ' ';
        text +=
            counts.last_is_begin ? " before the last connection, which began " : ", last connected until ";
        text += time;
    }
    return text + " (UTC)\n";
}

std::string history_text(const History& history, std::size_t last)
{
    std::string text = counts_text(history.counts);
    if (history.damaged > 0) {
        text += "damaged lines of the journal left out: " + std::to_string(history.damaged) + '\n';
    }
    text += history.rows.empty() ? "nothing has happened yet\n" : "\n";
    const auto count = history.rows.size();
    for (std::size_t i = count - std::min(last, count); i < count; ++i) {
        text += row_text(history, history.rows[i]);
    }
    return text;
}

} // namespace celldctl
