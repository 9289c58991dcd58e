#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace celldctl {

/// Below it each unit's topics stand at the central broker, as "units/<id>/system/modem/status"
/// (docs/fleet.md).
inline constexpr std::string_view UNITS = "units/";

/// Bytes. The name in a certificate (X.520, ub-common-name) has no more characters.
constexpr std::size_t LONGEST_UNIT_ID = 64;

/// What is wrong with an id, as a part of a sentence; nothing with one that can be a level of a topic. UTF-8
/// without control characters, "/", "+" and "#". Pure.
std::optional<std::string> fault_of_unit_id(std::string_view id);

struct UnitTopic {
    std::string_view id;
    std::string_view rest; ///< "system/modem/status"
};

/// Takes "units/<id>/<rest>" apart; nothing for another topic. The id may be anything that a topic may hold.
std::optional<UnitTopic> unit_topic_of(std::string_view topic);

} // namespace celldctl
