#include "message_fields.hpp"

#include <utility>
#include <vector>

namespace celldctl {

namespace pb = ecu::kova::pb;

namespace {

void add_location(Fields& out, const pb::ModemLocation& location)
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

} // namespace

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
    add_location(out, status.location());
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

} // namespace celldctl
