#pragma once

#include "doctor/findings.hpp"
#include "modem_facts.hpp"
#include "snapshot.hpp"

namespace celldctl {

/// What the broker retains, and how old it is. Pure.
void check_retained(const Snapshot& snapshot, const ModemFacts& facts, Findings& findings);

} // namespace celldctl
