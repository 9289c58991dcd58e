#pragma once

#include "modem_facts.hpp"

#include <string>

namespace celldctl {

/// One screen for a person: groups of "label: value", "--" for what is not known, and which messages are not
/// on the bus. No control character but line feeds comes through.
std::string status_text(const ModemFacts& facts, const Snapshot& snapshot);

/// The same for a program, as docs/celldctl-status.md describes it: ASCII, with a line feed at the end.
std::string status_json(const ModemFacts& facts, const Snapshot& snapshot);

} // namespace celldctl
