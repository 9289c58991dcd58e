#pragma once

#include <optional>

/// How often the other threads have been switched away so far; nothing while one of them is at work
/// (proc(5)). Twice the same number proves that all slept at once in between.
std::optional<long> switches_of_sleepers();

/// Until they do: whoever waits for the port, the clock or the backend has got there.
void await_sleepers();
