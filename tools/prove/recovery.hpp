#pragma once

#include "proof.hpp"

#include <vector>

/// A table with a row for each kind of fault and family, and below it each that took long.
void print_recoveries(const std::vector<Measured>& all);

/// Makes the runs, and prints docs/recovery.md. False when one fell short, which is then told on standard
/// error.
bool print_recovery();
