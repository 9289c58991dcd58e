#pragma once

#include "fleet/fleet_model.hpp"

#include <string>

namespace celldctl {

/// Media type of the text format, version 0.0.4 (Prometheus' documentation, "Exposition formats").
inline constexpr auto METRICS_TYPE = "text/plain; version=0.0.4; charset=utf-8";

/// All units as metrics in Prometheus' text format. Names, units and labels after its conventions;
/// docs/fleet.md lists them. What is not known has no sample. Pure, save for what it says of this process.
std::string metrics_text(const FleetModel& model, bool broker_connected);

/// A label's value between its quotes: escaped, valid UTF-8, control characters as "\x1b" (of four
/// characters).
std::string label_value(const std::string& text);

} // namespace celldctl
