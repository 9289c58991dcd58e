#pragma once

#include "data/modem_data.hpp"

#include <string>

/// Why a state changed, in a few words for the log and the journal. Pure.
namespace causes {

/// By what the network and the card's holder say: "SIM removed", "registration denied, cause 15 (...)".
std::string of_registration(const ModemData& data);

} // namespace causes
