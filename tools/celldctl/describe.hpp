#pragma once

#include "fields.hpp"
#include "utils/words.hpp"

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/pb/modem.pb.h>

#include <array>
#include <optional>
#include <string>

namespace celldctl {

using ModemState = ecu::kova::pb::ModemStatus::ModemState;

enum class Kind { STATUS, REGISTRATION, HARDWARE, SIM, SIGNALS, BACKEND, OTHER };

/// The words for the kinds, in their order.
inline constexpr std::array KIND_WORDS{"status",  "registration", "hardware", "sim",
                                       "signals", "backend",      "other"};
const char* word(Kind kind);

struct Description {
    Kind kind = Kind::OTHER;
    Fields fields;
    std::string note;                ///< in place of the fields: why there are none
    bool malformed = false;          ///< and that is because it does not decode
    std::string payload;             ///< with a note: the bytes in hex
    std::string text;                ///< one line: the fields by name, or the note and the bytes
    std::optional<ModemState> state; ///< when it was a modem status that names one
};

/// Decodes a message by its topic. What cannot be decoded, or comes under a topic that is not known, is
/// described as such. Any bytes; nothing throws but std::bad_alloc.
Description describe(const std::string& topic, const ecu::kova::com::Message& message);

/// "connected", in any case.
std::optional<ModemState> modem_state(std::string name);
/// All of them, in lower case.
utils::Words modem_state_words();

} // namespace celldctl
