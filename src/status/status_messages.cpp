#include "status/status_messages.hpp"

#include "utils/strings.hpp"

#include <sstream>

namespace status_messages {
namespace {

namespace pb = ecu::kova::pb;

pb::ModemSimType published_type(defs::SimType type)
{
    return type == defs::SimType::EXTERNAL ? pb::SIM_EXTERNAL : pb::SIM_INTERNAL;
}

void fill_sim(const ModemData::Sim& sim, pb::ModemSim& message)
{
    message.set_type(published_type(sim.type));
    message.set_iccid(utils::to_valid_utf8(sim.iccid));
    message.set_imsi(utils::to_valid_utf8(sim.imsi));
}

/// Whether a cell is being used: what the record keeps of the last one beyond that is not told as fresh.
bool on_a_network(const ModemData& data)
{
    const int status = data.nw_reg.deciding_status();
    return registration::is_registered(status) || status == registration::stat::EMERGENCY;
}

/// A field is absent while unknown.
void fill_location(const ModemData::LocationData& location, pb::ModemLocation& message)
{
    if (location.mcc != 0) {
        message.set_mcc(location.mcc);
        message.set_mnc(location.mnc);
    }
    if (location.area_c != 0) {
        message.set_area_code(location.area_c);
    }
    if (location.cell_id != 0) {
        message.set_cell_id(location.cell_id);
    }
    if (location.r_ac != 0) {
        message.set_routing_area_code(location.r_ac);
    }
}

template <class Value>
void line(std::ostringstream& text, const char* label, const Value& value)
{
    text << "\n " << label << ": '" << value << "'";
}

} // namespace

pb::ModemHardware hardware(const ModemData& data)
{
    pb::ModemHardware message;
    message.set_imei(utils::to_valid_utf8(data.module.imei));
    message.set_manufacturer(utils::to_valid_utf8(data.module.manu));
    message.set_model(utils::to_valid_utf8(data.module.model));
    return message;
}

pb::ModemSimInformation sim_information(const ModemData& data)
{
    pb::ModemSimInformation message;
    message.set_active(published_type(data.sim.active));
    fill_sim(data.sim.internal, *message.add_sim());
    fill_sim(data.sim.external, *message.add_sim());
    return message;
}

pb::ModemRegistration_RegistrationStatus registration_status(const ModemData& data)
{
    const int status = data.nw_reg.deciding_status();
    return pb::ModemRegistration_RegistrationStatus_IsValid(status)
               ? static_cast<pb::ModemRegistration_RegistrationStatus>(status)
               : pb::ModemRegistration_RegistrationStatus_UNKNOWN;
}

pb::ModemRegistration registration(const ModemData& data)
{
    pb::ModemRegistration message;
    message.set_registration_status(registration_status(data));
    if (pb::ModemRegistration_ExtPSRegStatus_IsValid(data.nw_reg.ureg)) {
        message.set_ext_ps_reg_status(static_cast<pb::ModemRegistration_ExtPSRegStatus>(data.nw_reg.ureg));
    }
    const bool known =
        on_a_network(data) && pb::ModemRegistration_RadioAccessTechnology_IsValid(data.nw_reg.rat);
    message.set_radio_access_technology(
        known ? static_cast<pb::ModemRegistration_RadioAccessTechnology>(data.nw_reg.rat)
              : pb::ModemRegistration_RadioAccessTechnology_INVALID);
    return message;
}

pb::ModemStatus status(const ModemData& data)
{
    pb::ModemStatus message;
    message.set_state(data.pb_state());
    message.set_reset_reason(data.pb_reset_reason());
    message.set_operator_id(utils::to_valid_utf8(data.operator_data.id));
    message.set_operator_name(utils::to_valid_utf8(data.operator_data.name));
    message.set_sim_operator_name(utils::to_valid_utf8(data.operator_data.sim_n));
    fill_location(on_a_network(data) ? data.location : ModemData::LocationData{},
                  *message.mutable_location());
    if (data.time.nw_utc != 0) {
        message.set_network_time_utc_us(data.time.nw_utc);
        message.set_network_time_stamp_ns(data.time.ts_ns);
    }
    if (data.antenna.rssi() >= 0) {
        message.set_rssi(data.antenna.rssi());
    }
    if (const auto quality = data.antenna.signal_quality(); quality != defs::SignalQuality::UNKNOWN) {
        message.set_signal_quality(static_cast<int>(quality));
    }
    *message.mutable_registration() = registration(data);
    message.set_active_sim(published_type(data.sim.active));
    return message;
}

std::string dump(const ModemData& data)
{
    const auto& active = data.sim.of(data.sim.active);
    std::ostringstream text;
    text << "Modem Status: \n NETWORK Status data:";
    line(text, "c_reg", data.nw_reg.c_reg);
    line(text, "cg_reg", data.nw_reg.cg_reg);
    line(text, "ce_reg", data.nw_reg.ce_reg);
    line(text, "ureg", data.nw_reg.ureg);
    line(text, "rat", data.nw_reg.rat);
    text << "\n SIM data:";
    line(text, "iccid", active.iccid);
    line(text, "imsi", active.imsi);
    text << "\n MODEM data:";
    line(text, "imei", data.module.imei);
    line(text, "manu", data.module.manu);
    line(text, "model", data.module.model);
    text << "\n OPERATOR data:";
    line(text, "id", data.operator_data.id);
    line(text, "name", data.operator_data.name);
    line(text, "sim_n", data.operator_data.sim_n);
    text << "\n LOCATION data:";
    line(text, "mcc", data.location.mcc);
    line(text, "mnc", data.location.mnc);
    line(text, "area_c", data.location.area_c);
    line(text, "cell_id", data.location.cell_id);
    line(text, "r_ac", data.location.r_ac);
    text << "\n TIME data:";
    line(text, "nw_utc", data.time.nw_utc);
    line(text, "ts_ns", data.time.ts_ns);
    return text.str();
}

} // namespace status_messages
