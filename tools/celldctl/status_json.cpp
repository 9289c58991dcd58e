#include "counts_json.hpp"
#include "json_put.hpp"
#include "status_views.hpp"

#include <nlohmann/json.hpp>

namespace celldctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr int INDENT = 2;

Json registration(const ModemFacts& facts)
{
    auto object = Json::object();
    put(object, "status", facts.registration);
    put(object, "packet_service", facts.packet_service);
    put(object, "technology", facts.technology);
    return object;
}

Json network_operator(const ModemFacts& facts)
{
    auto object = Json::object();
    put(object, "name", facts.operator_name);
    put(object, "id", facts.operator_id);
    put(object, "sim_name", facts.sim_operator_name);
    return object;
}

Json cell(const ModemFacts& facts)
{
    auto object = Json::object();
    put(object, "mcc", facts.mcc);
    put(object, "mnc", facts.mnc);
    put(object, "area_code", facts.area_code);
    put(object, "cell_id", facts.cell_id);
    put(object, "routing_area_code", facts.routing_area_code);
    return object;
}

Json sims(const ModemFacts& facts)
{
    auto array = Json::array();
    for (const auto& sim : facts.sims) {
        auto object = Json::object();
        put(object, "type", sim.type);
        object["active"] = sim.active;
        put(object, "iccid", sim.iccid);
        put(object, "imsi", sim.imsi);
        array.push_back(std::move(object));
    }
    return array;
}

Json hardware(const ModemFacts& facts)
{
    auto object = Json::object();
    put(object, "manufacturer", facts.manufacturer);
    put(object, "model", facts.model);
    put(object, "imei", facts.imei);
    return object;
}

const char* word(Presence presence)
{
    switch (presence) {
    case Presence::MISSING:
        return "missing";
    case Presence::UNREADABLE:
        return "unreadable";
    case Presence::PRESENT:
        return "present";
    }
    return "missing";
}

Json bus(const Snapshot& snapshot)
{
    auto object = Json::object();
    for (const auto& piece : snapshot.pieces()) {
        object[std::string(piece.name)] = word(piece.presence);
    }
    return object;
}

Json ages(const ModemFacts& facts)
{
    auto object = Json::object();
    for (const auto& [name, age_s] : facts.ages_s) {
        put(object, std::string(name).c_str(), age_s);
    }
    return object;
}

Json journal_json(const JournalCounts& journal)
{
    return journal.counts ? counts_json(*journal.counts) : Json{{"absent", journal.absent}};
}

} // namespace

std::string status_json(const ModemFacts& facts, const Snapshot& snapshot, const JournalCounts& journal)
{
    auto root = Json::object();
    root["connected"] = facts.connected;
    root["daemon_gone"] = facts.daemon_gone;
    root["stale"] = facts.stale;
    if (facts.bridge_up) {
        root["bridge"] = *facts.bridge_up ? "up" : "down";
    }
    put(root, "state", facts.state);
    put(root, "reset_reason", facts.reset_reason);
    put(root, "backend", facts.backend);
    root["registration"] = registration(facts);
    root["operator"] = network_operator(facts);
    put(root, "network_time", facts.network_time);
    root["cell"] = cell(facts);
    root["signal"] = signal_json(facts);
    put(root, "active_sim", facts.active_sim);
    root["sims"] = sims(facts);
    root["hardware"] = hardware(facts);
    root["bus"] = bus(snapshot);
    root["age_s"] = ages(facts);
    root["journal"] = journal_json(journal);
    const bool ascii = true; // it may be read on a terminal, and UTF-8 has control characters too
    return root.dump(INDENT, ' ', ascii, Json::error_handler_t::replace) + '\n';
}

} // namespace celldctl
