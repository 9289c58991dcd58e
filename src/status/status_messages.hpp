#pragma once

#include "data/modem_data.hpp"

#include <ecu/pb/modem.pb.h>

#include <string>

/// How the record becomes bus messages and text. Pure functions; every text is made valid UTF-8 and every
/// number is checked against its enum before it enters a message.
namespace status_messages {

ecu::kova::pb::ModemHardware hardware(const ModemData& data);
ecu::kova::pb::ModemSimInformation sim_information(const ModemData& data);
ecu::kova::pb::ModemRegistration registration(const ModemData& data);
ecu::kova::pb::ModemStatus status(const ModemData& data);

/// The deciding registration status, UNKNOWN for a number that is none.
ecu::kova::pb::ModemRegistration_RegistrationStatus registration_status(const ModemData& data);

/// The dump of the record that the log shows with every status.
std::string dump(const ModemData& data);

} // namespace status_messages
