#pragma once

#include <cstdint>

/// Counts passes of the run loop from 1 up to a limit.
class PassCounter {
public:
    explicit PassCounter(std::uint32_t limit) : limit_(limit) {}

    void tick() { ++count_; }
    bool expired() const { return count_ >= limit_; }
    void restart() { count_ = 1; }
    /// Makes the next look find it expired.
    void exhaust() { count_ = limit_; }
    void limit(std::uint32_t limit) { limit_ = limit; }

    std::uint32_t count() const { return count_; }
    std::uint32_t limit() const { return limit_; }

private:
    std::uint32_t limit_;
    std::uint32_t count_ = 1;
};
