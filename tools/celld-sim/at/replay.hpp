#pragma once

#include "at/recording.hpp"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace bench {

/// Plays a recording's module: the n-th time that a command comes it is answered as it was the n-th time in
/// the recording. What the recording does not have, or not so often, is the bench's own module's.
class Replay {
public:
    explicit Replay(Recording recording);

    /// What was answered to this command line ("AT+CREG?"), case aside; nothing when it does not come (any
    /// more).
    std::optional<Recording::Exchange> take(std::string_view command);

    /// Everything has been played.
    bool is_over() const { return left_ == 0; }

private:
    Recording recording_;
    std::vector<bool> taken_;
    std::size_t left_;
};

} // namespace bench
