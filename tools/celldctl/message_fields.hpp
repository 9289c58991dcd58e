#pragma once

#include "fields.hpp"

#include <ecu/pb/modem.pb.h>

namespace celldctl {

/// The fields that are set, in the order in which a line has them: words for enumerations, texts as they
/// came.
void add_fields(Fields& out, const ecu::kova::pb::ModemStatus& status);
void add_fields(Fields& out, const ecu::kova::pb::ModemRegistration& registration);
void add_fields(Fields& out, const ecu::kova::pb::ModemHardware& hardware);
void add_fields(Fields& out, const ecu::kova::pb::ModemSimInformation& information);
void add_fields(Fields& out, const ecu::kova::pb::BackendProxyStatus& status);

} // namespace celldctl
