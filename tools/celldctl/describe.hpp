#pragma once

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/pb/modem.pb.h>

#include <optional>
#include <string>

namespace celldctl {

using ModemState = ecu::kova::pb::ModemStatus::ModemState;

struct Description {
    std::string text;                ///< one line, the fields by name
    std::optional<ModemState> state; ///< when it was a modem status that names one
};

/// Decodes a message by its topic. What cannot be decoded, or comes under a topic that is not known, is
/// described as such. Any bytes; nothing throws but std::bad_alloc.
Description describe(const std::string& topic, const ecu::kova::com::Message& message);

/// "connected", in any case.
std::optional<ModemState> modem_state(std::string name);

} // namespace celldctl
