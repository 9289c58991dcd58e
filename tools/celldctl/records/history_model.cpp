#include "history_model.hpp"

#include "utils/utc.hpp"

#include <map>

namespace celldctl {

namespace {

namespace chrono = std::chrono;
using Kind = JournalRecord::Kind;
using WallTime = chrono::system_clock::time_point;

/// No unit with this daemon has a clock that is right and earlier.
const WallTime FIRST_PLAUSIBLE = chrono::sys_days(chrono::year(2020) / 1 / 1);

/// Records with the same key have the same monotonic clock.
std::string clock_of(const JournalRecord& record)
{
    return record.boot.empty() || record.boot == "-" ? "run " + std::to_string(record.run) : record.boot;
}

/// The wall time at each clock's zero, by the newest record of it whose wall clock had been set.
std::map<std::string, WallTime> zero_of_clocks(const std::vector<JournalRecord>& records)
{
    std::map<std::string, WallTime> zeros;
    for (const auto& record : records) {
        if (record.wall >= FIRST_PLAUSIBLE) {
            zeros[clock_of(record)] = record.wall - record.up;
        }
    }
    return zeros;
}

std::optional<chrono::seconds> between(const History::Row& from, const History::Row& to)
{
    if (clock_of(from.record) == clock_of(to.record) && to.record.up >= from.record.up) {
        return chrono::floor<chrono::seconds>(to.record.up - from.record.up);
    }
    if (from.time_known && to.time_known && to.time >= from.time) {
        return chrono::floor<chrono::seconds>(to.time - from.time);
    }
    return std::nullopt;
}

void add_waits(std::vector<History::Row>& rows)
{
    const History::Row* connection = nullptr;
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
        if (row->record.kind == Kind::CONNECTED) {
            connection = &*row;
        } else if (connection != nullptr) {
            row->until_connected = between(*row, *connection);
        }
    }
}

void add_chains(std::vector<History::Row>& rows)
{
    std::vector<std::size_t> resets;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        switch (rows[i].record.kind) {
        case Kind::CONNECTED:
            resets.clear();
            break;
        case Kind::RESET:
            resets.push_back(i);
            break;
        case Kind::FAULT:
            rows[i].chain = resets;
            break;
        case Kind::START:
        case Kind::LOST:
        case Kind::OFF:
        case Kind::END:
            break;
        }
    }
}

History::Counts counts_of(const std::vector<History::Row>& rows)
{
    History::Counts counts;
    if (rows.empty()) {
        return counts;
    }
    const auto& newest = rows.back().record;
    counts.resets = newest.resets;
    counts.connections = newest.connections;
    counts.connected = newest.connected;
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
        const bool begins = row->record.kind == Kind::CONNECTED;
        if (begins || row->record.lasted) { // anything but a connection says how long one lasted that it ends
            counts.last_connected = row->time;
            counts.last_is_begin = begins;
            break;
        }
    }
    return counts;
}

} // namespace

History history_of(const journal::Contents& contents)
{
    History history;
    history.damaged = contents.damaged;
    const auto zeros = zero_of_clocks(contents.records);
    for (const auto& record : contents.records) {
        const auto zero = zeros.find(clock_of(record));
        const bool is_set = record.wall >= FIRST_PLAUSIBLE;
        const bool known = is_set || zero != zeros.end();
        const auto time = is_set || !known
                              ? record.wall
                              : chrono::time_point_cast<WallTime::duration>(zero->second + record.up);
        history.rows.push_back({record, time, known, std::nullopt, {}});
    }
    add_waits(history.rows);
    add_chains(history.rows);
    history.counts = counts_of(history.rows);
    return history;
}

} // namespace celldctl
