#pragma once

#include "proof.hpp"

#include <vector>

/// More than the fixed waits on its road account for: a sequence was gone through again.
bool took_long(const Recovery& recovery);
/// More than that, and so more than it may.
bool took_too_long(const Recovery& recovery);

/// A table with a row for each kind of fault and family, and below it each that took long.
void print_recoveries(const std::vector<Measured>& all);

/// Makes the runs, and prints docs/recovery.md. False when one fell short, which is then told on standard
/// error.
bool print_recovery();
