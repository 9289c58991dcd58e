#pragma once

#include "modem/modem_state.hpp"

#include <chrono>

/// What a pass wants of the loop, which alone rests between passes.
struct Pass {
    bool leave = false;
    std::chrono::milliseconds rest{0};
};

/// What most passes rest, so that counters of passes count about seconds.
constexpr std::chrono::seconds PASS_PAUSE{1};

/// A stretch of the module's life: does the work of its states. What it counts lives in it and is restarted
/// in `entered`, nowhere else. Main thread only.
class Phase {
public:
    Phase() = default;
    Phase(const Phase&) = delete;
    Phase& operator=(const Phase&) = delete;
    virtual ~Phase() = default;

    /// The state has become `now`, one of this phase's; it was `from`, perhaps another of its own.
    virtual void entered(ModemState /*now*/, ModemState /*from*/) {}
    virtual Pass step(ModemState now) = 0;
    /// The state is about to be `next` instead of `now`.
    virtual void left(ModemState /*now*/, ModemState /*next*/) {}
    /// The state has left the network group, whichever phase it was in. Told to every phase, before
    /// `entered`.
    virtual void network_left() {}
};
