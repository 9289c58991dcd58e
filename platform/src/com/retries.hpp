#pragma once

#include <chrono>

namespace ecu::kova::com {

/// How long to wait after a failed session, and what a row of them tells. No clock: what it decides, it
/// decides from the lives of the sessions. One thread.
class Retries {
public:
    using Delay = std::chrono::seconds;

    struct Life {
        Delay lived{};
        bool accepted = false;   ///< by the broker
        bool hung_up_on = false; ///< by the broker, after that
    };

    void failed(const Life& life);
    Delay delay() const { return delay_; }
    /// For the try after the next.
    void lengthen_delay();
    /// Whether the broker keeps hanging up as it does when two clients have one id.
    bool id_seems_taken() const;

private:
    static constexpr Delay FIRST_DELAY{1}; // between two tries, doubled up to the longest

    Delay delay_ = FIRST_DELAY;
    int short_lives_ = 0; // connections in a row that the broker ended soon
};

} // namespace ecu::kova::com
