#include "bus_examples.hpp"
#include "history_model.hpp"
#include "status_views.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

// docs/celldctl-status.schema.json and docs/celldctl-history.schema.json describe what comes out, to the last
// key and word.

namespace {

namespace pb = ecu::kova::pb;
using nlohmann::json;
using Seen = std::map<std::string, std::set<json>>; // by the path of the key; of what holds others: nothing

/// Stricter than JSON Schema in one point: a key that the schema does not have is a fault.
void check(const json& value, const json& rule, const std::string& where, Seen& seen)
{
    const std::string type = rule.value("type", "in no schema");
    EXPECT_TRUE(type == "integer" ? value.is_number_integer() : type == value.type_name()) << where << value;
    auto& values = seen[where];
    if (!value.is_structured()) {
        EXPECT_TRUE(value >= rule.value("minimum", value) && value <= rule.value("maximum", value)) << where;
        values.insert(value);
        return;
    }
    for (const std::string key : rule.value("required", json::array())) {
        EXPECT_TRUE(value.contains(key)) << where << " lacks " << key;
    }
    for (const auto& [key, inner] : value.items()) {
        const bool item = value.is_array();
        check(inner, item ? rule["items"] : rule["properties"].value(key, json::object()),
              where + (item ? "[]" : "." + key), seen);
    }
}

/// Nothing of the schema that never comes out, no word that it lacks.
void expect_all_seen(const json& rule, const std::string& where, const Seen& seen)
{
    ASSERT_EQ(seen.count(where), 1U) << where;
    if (rule.contains("enum")) {
        EXPECT_EQ(std::set<json>(rule["enum"].begin(), rule["enum"].end()), seen.at(where)) << where;
    }
    if (rule.contains("items")) {
        expect_all_seen(rule["items"], where + "[]", seen);
    }
    const auto properties = rule.value("properties", json::object());
    for (const auto& [key, inner] : properties.items()) {
        expect_all_seen(inner, where + "." + key, seen);
    }
}

void expect_described(const std::string& verb, const std::vector<std::string>& outputs)
{
    const auto rule = json::parse(read_text(CELLD_SOURCE_DIR "/docs/celldctl-" + verb + ".schema.json"));
    Seen seen;
    for (const auto& output : outputs) {
        check(json::parse(output), rule, "", seen);
    }
    expect_all_seen(rule, "", seen);
}

template <class M, class Word>
void set(M& message, void (M::*setter)(Word), bool (*is_valid)(int), int number)
{
    if (is_valid(number)) {
        (message.*setter)(static_cast<Word>(number));
    }
}

/// What docs/bus.md shows, its words those with the number `n`, as far as there is one.
celldctl::Snapshot unit(int n)
{
    auto bus = documented_unit();
    auto& status = bus.status.value;
    set(status, &pb::ModemStatus::set_state, pb::ModemStatus::ModemState_IsValid, n - 1); // the first is -1
    set(status, &pb::ModemStatus::set_reset_reason, pb::ModemStatus::ModemResetReason_IsValid, n);
    status.mutable_location()->set_routing_area_code(2);
    using Registration = pb::ModemRegistration;
    auto& registration = bus.registration.value;
    set(registration, &Registration::set_registration_status, Registration::RegistrationStatus_IsValid, n);
    set(registration, &Registration::set_ext_ps_reg_status, Registration::ExtPSRegStatus_IsValid, n);
    set(registration, &Registration::set_radio_access_technology, Registration::RadioAccessTechnology_IsValid,
        n);
    auto& sims = bus.sim.value;
    set(sims, &pb::ModemSimInformation::set_active, pb::ModemSimType_IsValid, n);
    set(*sims.mutable_sim(0), &pb::ModemSim::set_type, pb::ModemSimType_IsValid, n);
    set(bus.backend.value, &pb::BackendProxyStatus::set_status, pb::BackendProxyStatus::Status_IsValid, n);
    return bus;
}

/// Two connections, with resets and the hardware error between them.
celldctl::History history()
{
    using Kind = JournalRecord::Kind;
    journal::Contents contents;
    for (const auto kind : {Kind::START, Kind::CONNECTED, Kind::LOST, Kind::RESET, Kind::FAULT, Kind::OFF,
                            Kind::END, Kind::START, Kind::CONNECTED}) {
        const std::chrono::seconds up(contents.records.size());
        contents.records.push_back({kind,
                                    {},
                                    up,
                                    "aa",
                                    1,
                                    "CONNECTED",
                                    "AT_PORT_TIMEOUT",
                                    "why",
                                    "SEARCHING 5 s",
                                    up,
                                    1,
                                    1,
                                    1,
                                    up,
                                    2});
    }
    return celldctl::history_of(contents);
}

} // namespace

TEST(Schema, HasEveryKeyAndWordOfStatus)
{
    std::vector<std::string> outputs;
    for (int n = 0; n < 256; ++n) {
        auto bus = unit(n);
        bus.bridge_up = n % 2 == 0;
        celldctl::History::Counts counts{.last_connected = std::chrono::system_clock::time_point{}};
        counts.last_is_begin = n % 2 == 0;
        outputs.push_back(celldctl::status_json(celldctl::facts_of(bus, 1LL << 60), bus, {counts, ""}));
    }
    celldctl::Snapshot garbage;
    for (const auto* const topic : {"", "system/modem/status", "system/modem/registration",
                                    "system/modem/hardware", "system/modem/sim", "be/status"}) {
        garbage.take(topic, ecu::kova::com::Message({1}));
        outputs.push_back(celldctl::status_json(celldctl::facts_of(garbage, {}), garbage, {{}, "why"}));
    }
    expect_described("status", outputs);
}

TEST(Schema, HasEveryKeyAndWordOfHistory)
{
    const auto whole = history();
    auto ended = whole;
    ended.counts.last_is_begin = false;
    expect_described("history", {celldctl::history_json(whole, 100), celldctl::history_json(ended, 100),
                                 celldctl::history_json({}, 100)});
}
