#include "describe.hpp"

#include "bus/message_adapter.hpp"
#include "fields.hpp"

#include <ecu/kova/rt/signal_adapter.hpp>

#include <algorithm>
#include <array>
#include <cctype>

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
    for (const auto& sim : information.sim()) {
        if (sim.has_type()) {
            out.add("sim", pb::ModemSimType_Name(sim.type()));
        }
        if (sim.has_iccid()) {
            out.add_text("iccid", sim.iccid());
        }
        if (sim.has_imsi()) {
            out.add_text("imsi", sim.imsi());
        }
    }
}

void add_fields(Fields& out, const pb::BackendProxyStatus& status)
{
    if (status.has_status()) {
        out.add("status", pb::BackendProxyStatus::Status_Name(status.status()));
    }
}

template <class T>
Description framed(const com::Message& message)
{
    const auto result = com::PbInternalMessageAdapter<T>().deserialize(message);
    if (!result) {
        return {"(no frame of this topic, code " + std::to_string(result.code) + ") " +
                    hex(message.payload()),
                {}};
    }
    Fields fields;
    add_fields(fields, result.value);
    Description description{fields.line().empty() ? "(no field is set)" : fields.line(), {}};
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
        return {"(" + group.error() + ") " + hex(message.payload()), {}};
    }
    Fields fields;
    for (const auto& [name, data] : group.value().signals()) {
        add_signal(fields, name, data);
    }
    return {fields.line().empty() ? "(no signal in the group)" : fields.line(), {}};
}

struct Decoder {
    const char* topic;
    Description (*decode)(const com::Message&);
};

constexpr std::array DECODERS{
    Decoder{"system/modem/status", &framed<pb::ModemStatus>},
    Decoder{"system/modem/hardware", &framed<pb::ModemHardware>},
    Decoder{"system/modem/sim", &framed<pb::ModemSimInformation>},
    Decoder{"system/modem/registration", &framed<pb::ModemRegistration>},
    Decoder{"be/status", &framed<pb::BackendProxyStatus>},
};

} // namespace

Description describe(const std::string& topic, const com::Message& message)
{
    if (message.payload().empty()) {
        return {"(empty: the topic is cleared)", {}};
    }
    for (const auto& decoder : DECODERS) {
        if (topic == decoder.topic) {
            return decoder.decode(message);
        }
    }
    if (topic.rfind("rt/", 0) == 0) {
        return signals(message);
    }
    return {"(unknown topic) " + hex(message.payload()), {}};
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

} // namespace celldctl
