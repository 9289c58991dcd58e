#include "counts_json.hpp"
#include "utils/utc.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace celldctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr int INDENT = 2;

void put_text(Json& object, const char* key, const std::string& text)
{
    if (!text.empty()) {
        object[key] = text;
    }
}

Json row_json(const History& history, const History::Row& row)
{
    const auto& record = row.record;
    Json object{{"time", utils::utc_text(row.time)},
                {"time_known", row.time_known},
                {"what", journal::to_str(record.kind)},
                {"up_ms", record.up.count()},
                {"boot", record.boot},
                {"run", record.run}};
    put_text(object, "from", record.from);
    put_text(object, "reason", record.reason);
    put_text(object, "cause", record.cause);
    put_text(object, "road", record.road);
    if (record.lasted) {
        object[record.kind == JournalRecord::Kind::CONNECTED ? "took_s" : "was_connected_s"] =
            record.lasted->count();
    }
    if (row.until_connected) {
        object["until_connected_s"] = row.until_connected->count();
    }
    object["resets_in_a_row"] = record.in_a_row;
    if (record.unwritten > 0) {
        object["left_out"] = record.unwritten;
    }
    if (record.kind == JournalRecord::Kind::FAULT) {
        object["trouble_code"] = "rt/system/status_modem_module_error";
        auto& chain = object["chain"] = Json::array();
        for (const auto index : row.chain) {
            const auto& reset = history.rows[index];
            chain.push_back({{"time", utils::utc_text(reset.time)},
                             {"reason", reset.record.reason},
                             {"cause", reset.record.cause}});
        }
    }
    return object;
}

} // namespace

Json counts_json(const History::Counts& counts)
{
    Json object{{"resets", counts.resets},
                {"connections", counts.connections},
                {"connected_s", counts.connected.count()}};
    if (counts.last_connected) {
        object[counts.last_is_begin ? "connected_since" : "last_connected"] =
            utils::utc_text(*counts.last_connected);
    }
    return object;
}

std::string history_json(const History& history, std::size_t last)
{
    Json object{{"counts", counts_json(history.counts)}, {"damaged_lines", history.damaged}};
    auto& records = object["records"] = Json::array();
    const auto count = history.rows.size();
    for (std::size_t i = count - std::min(last, count); i < count; ++i) {
        records.push_back(row_json(history, history.rows[i]));
    }
    return object.dump(INDENT, ' ', true, Json::error_handler_t::replace) + '\n';
}

} // namespace celldctl
