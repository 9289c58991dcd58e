#include "bus/message_adapter.hpp"
#include "history_model.hpp"
#include "status_views.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

// docs/celldctl-status.schema.json and docs/celldctl-history.schema.json describe what comes out, to the last
// key and word.

namespace {

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using nlohmann::json;

json schema(const char* verb)
{
    std::ifstream file(CELLD_SOURCE_DIR "/docs/celldctl-" + std::string(verb) + ".schema.json");
    return json::parse(file);
}

bool is_of_type(const json& value, const std::string& type)
{
    return type == "object"    ? value.is_object()
           : type == "array"   ? value.is_array()
           : type == "string"  ? value.is_string()
           : type == "boolean" ? value.is_boolean()
           : type == "integer" ? value.is_number_integer()
                               : false;
}

/// What of JSON Schema the two files use. Stricter in one point: a key that the schema does not have is a
/// fault.
class Validator {
public:
    void check(const json& value, const json& rule, const std::string& where)
    {
        if (!is_of_type(value, rule.at("type"))) {
            faults.push_back(where + " is no " + std::string(rule.at("type")));
            return;
        }
        if (value.is_object()) {
            check_keys(value, rule, where);
        } else if (value.is_array()) {
            for (const auto& item : value) {
                check(item, rule.at("items"), where + "[]");
            }
        } else {
            check_value(value, rule, where);
        }
    }

    std::vector<std::string> faults;
    std::set<std::string> seen; ///< every key that was there

private:
    void check_keys(const json& value, const json& rule, const std::string& where)
    {
        for (const auto& key : rule.value("required", json::array())) {
            if (!value.contains(key.get<std::string>())) {
                faults.push_back(where + " lacks " + key.get<std::string>());
            }
        }
        for (const auto& [key, inner] : value.items()) {
            const auto path = where + '.' + key;
            seen.insert(path);
            if (rule.at("properties").contains(key)) {
                check(inner, rule["properties"][key], path);
            } else {
                faults.push_back(path + " is not in the schema");
            }
        }
    }

    void check_value(const json& value, const json& rule, const std::string& where)
    {
        const auto words = rule.value("enum", json::array({value}));
        if (std::find(words.begin(), words.end(), value) == words.end() ||
            value < rule.value("minimum", value) || value > rule.value("maximum", value)) {
            faults.push_back(where + " is " + value.dump());
        }
    }
};

/// Every path of the schema.
void collect(const json& rule, const std::string& where, std::set<std::string>& paths)
{
    if (rule.contains("items")) {
        collect(rule["items"], where + "[]", paths);
    }
    const auto properties = rule.value("properties", json::object());
    for (const auto& [key, inner] : properties.items()) {
        paths.insert(where + '.' + key);
        collect(inner, where + '.' + key, paths);
    }
}

template <class T>
void put(celldctl::Snapshot& bus, const std::string& topic, const T& message)
{
    bus.take(topic, *com::PbInternalMessageAdapter<T>().serialize(message));
}

/// A unit whose words have the number `n`, as far as there is one.
celldctl::Snapshot unit(int n)
{
    celldctl::Snapshot bus;
    pb::ModemStatus status;
    if (pb::ModemStatus::ModemState_IsValid(n - 1)) { // the first is -1
        status.set_state(static_cast<pb::ModemStatus::ModemState>(n - 1));
    }
    if (pb::ModemStatus::ModemResetReason_IsValid(n)) {
        status.set_reset_reason(static_cast<pb::ModemStatus::ModemResetReason>(n));
    }
    status.set_operator_id("26201");
    status.set_operator_name("Net");
    status.set_sim_operator_name("Fleet");
    auto& location = *status.mutable_location();
    location.set_mcc(262);
    location.set_mnc(1);
    location.set_area_code(1);
    location.set_cell_id(0xffffffff);
    location.set_routing_area_code(2);
    status.set_network_time_utc_us(1'769'860'800'000'000);
    status.set_rssi(n);
    put(bus, "system/modem/status", status);
    pb::ModemRegistration registration;
    if (pb::ModemRegistration::RegistrationStatus_IsValid(n)) {
        registration.set_registration_status(static_cast<pb::ModemRegistration::RegistrationStatus>(n));
    }
    if (pb::ModemRegistration::ExtPSRegStatus_IsValid(n)) {
        registration.set_ext_ps_reg_status(static_cast<pb::ModemRegistration::ExtPSRegStatus>(n));
    }
    const int technology = n == 8 ? pb::ModemRegistration::INVALID : n;
    if (pb::ModemRegistration::RadioAccessTechnology_IsValid(technology)) {
        registration.set_radio_access_technology(
            static_cast<pb::ModemRegistration::RadioAccessTechnology>(technology));
    }
    put(bus, "system/modem/registration", registration);
    pb::ModemHardware hardware;
    hardware.set_imei("490154203237518");
    hardware.set_manufacturer("u-blox");
    hardware.set_model("SARA-U201");
    put(bus, "system/modem/hardware", hardware);
    pb::ModemSimInformation sims;
    auto& sim = *sims.add_sim();
    sim.set_iccid("8949");
    sim.set_imsi("262");
    if (pb::ModemSimType_IsValid(n)) {
        sims.set_active(static_cast<pb::ModemSimType>(n));
        sim.set_type(static_cast<pb::ModemSimType>(n));
    }
    put(bus, "system/modem/sim", sims);
    if (pb::BackendProxyStatus::Status_IsValid(n)) {
        pb::BackendProxyStatus backend;
        backend.set_status(static_cast<pb::BackendProxyStatus::Status>(n));
        put(bus, "be/status", backend);
    } else {
        bus.take("be/status", com::Message({1}));
    }
    return bus;
}

/// Two connections, with resets and the hardware error between them.
celldctl::History history()
{
    using Kind = JournalRecord::Kind;
    journal::Contents contents;
    for (const auto kind : {Kind::START, Kind::CONNECTED, Kind::LOST, Kind::RESET, Kind::FAULT, Kind::OFF,
                            Kind::END, Kind::START, Kind::CONNECTED}) {
        JournalRecord record;
        record.kind = kind;
        record.up = std::chrono::seconds(contents.records.size());
        record.boot = "aa";
        record.from = "CONNECTED";
        record.reason = "AT_PORT_TIMEOUT";
        record.cause = "why";
        record.road = "SEARCHING 5 s";
        record.lasted = std::chrono::seconds(1);
        record.unwritten = 2;
        contents.records.push_back(record);
    }
    return celldctl::history_of(contents);
}

} // namespace

TEST(Schema, OfStatusHasEveryKeyAndWordThatComesOut)
{
    constexpr int MOST_WORDS = 32;
    const auto rule = schema("status");
    Validator validator;
    celldctl::History::Counts counts{.last_connected = std::chrono::system_clock::time_point{}};
    for (int n = 0; n < MOST_WORDS; ++n) {
        const auto bus = unit(n);
        counts.last_is_begin = n % 2 == 0;
        const auto journal =
            n == 0 ? celldctl::JournalCounts{{}, "why"} : celldctl::JournalCounts{counts, ""};
        auto facts = celldctl::facts_of(bus, 1LL << 60);
        facts.bridge_up = n % 2 == 0;
        validator.check(json::parse(celldctl::status_json(facts, bus, journal)), rule, "");
    }
    validator.check(json::parse(celldctl::status_json(celldctl::facts_of({}, {}), {}, {{}, "why"})), rule,
                    "");
    EXPECT_EQ(validator.faults, std::vector<std::string>());
    std::set<std::string> written;
    collect(rule, "", written);
    EXPECT_EQ(validator.seen, written);
}

TEST(Schema, OfHistoryHasEveryKeyAndWordThatComesOut)
{
    const auto rule = schema("history");
    Validator validator;
    auto whole = history();
    validator.check(json::parse(celldctl::history_json(whole, 100)), rule, "");
    whole.counts.last_is_begin = false;
    validator.check(json::parse(celldctl::history_json(whole, 100)), rule, "");
    validator.check(json::parse(celldctl::history_json({}, 100)), rule, "");
    EXPECT_EQ(validator.faults, std::vector<std::string>());
    std::set<std::string> written;
    collect(rule, "", written);
    EXPECT_EQ(validator.seen, written);
}
