#include "describe.hpp"

#include "bus/message_adapter.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/rt/signal_adapter.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

namespace celldctl {

namespace {

using namespace ecu::kova;

void add_fields(Fields& out, const pb::ModemRegistration& registration)
{
    if (registration.has_registration_status()) {
        out.add("registration",
                pb::ModemRegistration::RegistrationStatus_Name(registration.registration_status()));
    }
    if (registration.has_ext_ps_reg_status()) {
        out.add("packet_service",
                pb::ModemRegistration::ExtPSRegStatus_Name(registration.ext_ps_reg_status()));
    }
    if (registration.has_radio_access_technology()) {
        out.add("technology",
                pb::ModemRegistration::RadioAccessTechnology_Name(registration.radio_access_technology()));
    }
}

void add_fields(Fields& out, const pb::ModemLocation& location)
{
    const auto add = [&](const char* name, bool present, std::uint32_t value) {
        if (present) {
            out.add_number(name, value);
        }
    };
    add("mcc", location.has_mcc(), location.mcc());
    add("mnc", location.has_mnc(), location.mnc());
    add("area_code", location.has_area_code(), location.area_code());
    add("cell_id", location.has_cell_id(), location.cell_id());
    add("routing_area_code", location.has_routing_area_code(), location.routing_area_code());
}

void add_operator(Fields& out, const pb::ModemStatus& status)
{
    if (status.has_operator_id()) {
        out.add_text("operator_id", status.operator_id());
    }
    if (status.has_operator_name()) {
        out.add_text("operator_name", status.operator_name());
    }
    if (status.has_sim_operator_name()) {
        out.add_text("sim_operator_name", status.sim_operator_name());
    }
}

void add_fields(Fields& out, const pb::ModemStatus& status)
{
    if (status.has_state()) {
        out.add("state", pb::ModemStatus::ModemState_Name(status.state()));
    }
    if (status.has_reset_reason()) {
        out.add("reset_reason", pb::ModemStatus::ModemResetReason_Name(status.reset_reason()));
    }
    if (status.has_active_sim()) {
        out.add("active_sim", pb::ModemSimType_Name(status.active_sim()));
    }
    add_fields(out, status.registration());
    add_operator(out, status);
    add_fields(out, status.location());
    if (status.has_rssi()) {
        out.add_number("rssi", status.rssi());
    }
    if (status.has_signal_quality()) {
        out.add_number("signal_quality", status.signal_quality());
    }
    if (status.has_network_time_utc_us()) {
        out.add("network_time", utc_time(status.network_time_utc_us()));
    }
}

void add_fields(Fields& out, const pb::ModemHardware& hardware)
{
    if (hardware.has_manufacturer()) {
        out.add_text("manufacturer", hardware.manufacturer());
    }
    if (hardware.has_model()) {
        out.add_text("model", hardware.model());
    }
    if (hardware.has_imei()) {
        out.add_text("imei", hardware.imei());
    }
}

void add_fields(Fields& out, const pb::ModemSimInformation& information)
{
    if (information.has_active()) {
        out.add("active", pb::ModemSimType_Name(information.active()));
    }
    std::vector<Fields> sims;
    for (const auto& sim : information.sim()) {
        auto& fields = sims.emplace_back();
        if (sim.has_type()) {
            fields.add("sim", pb::ModemSimType_Name(sim.type()));
        }
        if (sim.has_iccid()) {
            fields.add_text("iccid", sim.iccid());
        }
        if (sim.has_imsi()) {
            fields.add_text("imsi", sim.imsi());
        }
    }
    if (!sims.empty()) {
        out.add_list("sims", std::move(sims));
    }
}

void add_fields(Fields& out, const pb::BackendProxyStatus& status)
{
    if (status.has_status()) {
        out.add("status", pb::BackendProxyStatus::Status_Name(status.status()));
    }
}

Description noted(std::string note, const com::Message& message, bool malformed)
{
    Description description;
    description.payload = hex(message.payload());
    description.text = "(" + note + ")" + (message.payload().empty() ? "" : " ") + description.payload;
    description.note = std::move(note);
    description.malformed = malformed;
    return description;
}

Description described(Fields fields, const char* without)
{
    Description description;
    if (fields.empty()) {
        description.note = without;
        description.text = std::string("(") + without + ")";
    } else {
        description.text = fields.line();
    }
    description.fields = std::move(fields);
    return description;
}

/// The codes of DeserializeResult.
std::string reason(int code)
{
    constexpr std::array REASONS{"shorter than its header", "its header cannot be read",
                                 "its protocol type is \"not used\"", "its header length is not 18",
                                 "its body is cut short or no message of this topic"};
    const auto index = static_cast<std::size_t>(code) - 1;
    return index < REASONS.size() ? REASONS[index] : "code " + std::to_string(code);
}

template <class T>
Description framed(const com::Message& message)
{
    com::PbInternalMessageAdapter<T> adapter;
    adapter.log_refusals(false);
    const auto result = adapter.deserialize(message);
    if (!result) {
        return noted("no frame of this topic: " + reason(result.code), message, true);
    }
    Fields fields;
    add_fields(fields, result.value);
    auto description = described(std::move(fields), "no field is set");
    if constexpr (std::is_same_v<T, pb::ModemStatus>) {
        if (result.value.has_state()) {
            description.state = result.value.state();
        }
    }
    return description;
}

/// Values are one byte unless the name says that they are text.
void add_signal(Fields& out, const std::string& name, const rt::SignalData& data)
{
    if (name == "imei" || name == "iccid") {
        out.add_text(name, std::string(data.begin(), data.end()));
        return;
    }
    const std::string shown = printable(name);
    if (data.size() != 1) {
        out.add(shown, hex(data));
    } else if (name == "modem_creg" && pb::ModemRegistration::RegistrationStatus_IsValid(data[0])) {
        out.add(shown, pb::ModemRegistration::RegistrationStatus_Name(
                           static_cast<pb::ModemRegistration::RegistrationStatus>(data[0])));
    } else {
        out.add_number(shown, name == "modem_rssi" ? static_cast<std::int8_t>(data[0]) : data[0]);
    }
}

Description signals(const com::Message& message)
{
    const auto group = rt::SignalAdapter::instance().unpack(message);
    if (!group) {
        return noted(printable(group.error()), message, true);
    }
    Fields fields;
    for (const auto& [name, data] : group.value().signals()) {
        add_signal(fields, name, data);
    }
    return described(std::move(fields), "no signal in the group");
}

struct Decoder {
    const char* topic;
    Kind kind;
    Description (*decode)(const com::Message&);
};

constexpr std::array DECODERS{
    Decoder{"system/modem/status", Kind::STATUS, &framed<pb::ModemStatus>},
    Decoder{"system/modem/hardware", Kind::HARDWARE, &framed<pb::ModemHardware>},
    Decoder{"system/modem/sim", Kind::SIM, &framed<pb::ModemSimInformation>},
    Decoder{"system/modem/registration", Kind::REGISTRATION, &framed<pb::ModemRegistration>},
    Decoder{"be/status", Kind::BACKEND, &framed<pb::BackendProxyStatus>},
};
constexpr std::string_view SIGNALS_BELOW = "rt/";

Kind kind_of(const std::string& topic)
{
    for (const auto& decoder : DECODERS) {
        if (topic == decoder.topic) {
            return decoder.kind;
        }
    }
    return topic.rfind(SIGNALS_BELOW, 0) == 0 ? Kind::SIGNALS : Kind::OTHER;
}

Description decode(const std::string& topic, const com::Message& message)
{
    if (message.payload().empty()) {
        return noted("empty: the topic is cleared", message, false);
    }
    for (const auto& decoder : DECODERS) {
        if (topic == decoder.topic) {
            return decoder.decode(message);
        }
    }
    return topic.rfind(SIGNALS_BELOW, 0) == 0 ? signals(message) : noted("unknown topic", message, false);
}

} // namespace

const char* word(Kind kind)
{
    return KIND_WORDS.at(static_cast<std::size_t>(kind));
}

Description describe(const std::string& topic, const com::Message& message)
{
    auto description = decode(topic, message);
    description.kind = kind_of(topic);
    return description;
}

std::optional<ModemState> modem_state(std::string name)
{
    std::transform(name.begin(), name.end(), name.begin(), [](char character) {
        return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    });
    ModemState state{};
    if (!pb::ModemStatus::ModemState_Parse(name, &state)) {
        return std::nullopt;
    }
    return state;
}

utils::Words modem_state_words()
{
    static const auto NAMES = [] {
        std::vector<std::string> names;
        for (int value = pb::ModemStatus::ModemState_MIN; value <= pb::ModemStatus::ModemState_MAX; ++value) {
            names.push_back(utils::lower_case(
                pb::ModemStatus::ModemState_Name(static_cast<pb::ModemStatus::ModemState>(value))));
        }
        return names;
    }();
    static const auto WORDS = [] {
        std::vector<const char*> words;
        for (const auto& name : NAMES) {
            words.push_back(name.c_str());
        }
        return words;
    }();
    return WORDS;
}

} // namespace celldctl
