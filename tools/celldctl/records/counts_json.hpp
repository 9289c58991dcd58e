#pragma once

#include "history_model.hpp"

#include <nlohmann/json_fwd.hpp>

namespace celldctl {

/// What the journal has counted, under the keys of docs/celldctl-history.md.
nlohmann::ordered_json counts_json(const History::Counts& counts);

} // namespace celldctl
