#pragma once

#include <chrono>

/// What most passes rest, so that counters of passes count about seconds.
constexpr std::chrono::seconds PASS_PAUSE{1};

/// Seconds after "+COPS=2" until the module has deregistered.
constexpr unsigned int DEREGISTRATION_S = 5;
