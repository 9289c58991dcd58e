#include "fields.hpp"
#include "fleet/fleet_views.hpp"
#include "freshness.hpp"
#include "json_put.hpp"

#include <nlohmann/json.hpp>

namespace celldctl {

namespace {

using Json = nlohmann::ordered_json;

Json named(std::initializer_list<std::pair<const char*, const std::optional<std::string>&>> texts)
{
    auto object = Json::object();
    for (const auto& [key, text] : texts) {
        put(object, key, text);
    }
    return object;
}

void add_unit(Json& object, const FleetRow& row, FleetTime now)
{
    const auto& unit = row.unit;
    object["unit"] = row.id;
    object["condition"] = word(unit.condition);
    object["connected"] =
        unit.condition == Condition::UP && unit.state == ecu::kova::pb::ModemStatus::CONNECTED;
    put(object, "state", state_word(unit));
    if (unit.state) {
        object["since"] = time_text(unit.since, true);
        object["seen_to_begin"] = unit.seen_to_begin;
    }
    object["operator"] = named({{"name", unit.operator_name}, {"id", unit.operator_id}});
    put(object, "technology", unit.technology);
    object["signal"] = signal_json(unit);
    put(object, "model", unit.model);
    object["starts"] = unit.starts;
    put(object, "reset_reason", unit.reset_reason);
    if (unit.last_seen) {
        object["last_seen"] = time_text(*unit.last_seen, true);
        object["last_seen_s"] = silence(unit, now)->count();
    }
    put(object, "bridge",
        unit.bridge_up ? std::optional<std::string>(*unit.bridge_up ? "up" : "down") : std::nullopt);
    object["messages"] = unit.messages;
    object["malformed"] = unit.malformed;
    object["two_senders"] = unit.two_senders;
}

std::string line(const Json& object)
{
    const bool ascii = true; // it may be read on a terminal, and UTF-8 has control characters too
    return object.dump(-1, ' ', ascii, Json::error_handler_t::replace) + '\n';
}

} // namespace

std::string fleet_json(const FleetRow& row, FleetTime now)
{
    auto object = Json::object();
    add_unit(object, row, now);
    return line(object);
}

std::string fleet_json(const FleetNews& news)
{
    auto object = Json::object();
    object["time"] = time_text(news.when, true);
    object["kind"] = news.kind;
    object["text"] = news.text;
    add_unit(object, {news.unit, news.record}, news.when);
    return line(object);
}

} // namespace celldctl
