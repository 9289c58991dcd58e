#pragma once

#include <chrono>

/// What a fault has cost, in the daemon's time.
struct Recovery {
    bool measured = false;
    bool held = false;                 ///< the connection was not lost
    std::chrono::milliseconds took{};  ///< from the fault to the connection
    std::chrono::milliseconds waits{}; ///< the fixed waits on the road that was taken
};

constexpr double MUCH = 1.2; ///< times the fixed waits
constexpr std::chrono::seconds A_FEW_PASSES{
    5}; ///< until the loop, which rests between them, has seen something
constexpr std::chrono::seconds A_SEQUENCE{
    15}; ///< to go through again: the SIM's selection, the context's set-up

/// More than the fixed waits on its road account for: a sequence was gone through again.
bool took_long(const Recovery& recovery);
/// More than that, and so more than it may.
bool took_too_long(const Recovery& recovery);
