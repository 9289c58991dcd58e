#pragma once

#include "at/at_tty_port.hpp"

#include <optional>
#include <utility>

/// One command on its way, owned jointly by its caller and the port, so that neither ever looks into a call
/// that has ended. All but `command` is guarded by the port's exchange mutex. Only the exchange that is the
/// port's current one is written to, and giving it an answer ends that: an answer comes at most once.
struct AtTtyPort::Exchange {
    explicit Exchange(const AtCommand& what) : command(what), line(what.build()) {}

    /// A marker may be written while earlier commands have no final line yet: its own line tells its answer
    /// apart.
    bool is_marker = false;
    const AtCommand command; ///< a copy without the tail of `parameters()`, which is in `line`
    const std::string line;  ///< the bytes for the port
    bool written = false;
    bool interrupted = false; ///< by `stop`: there will be no answer
    std::optional<AtCommandResponse> answer;

    bool is_over() const { return interrupted || answer.has_value(); }
};

/// The right to execute: one command at a time, from before it is published until its result is known.
class AtTtyPort::Turn {
public:
    /// Longer than nearly every command takes; a caller behind +COPS=? or a dead module is told instead of
    /// held.
    static constexpr std::chrono::seconds TURN_TIMEOUT{30};

    explicit Turn(AtTtyPort& port) : port_(port)
    {
        threads::MutexLock held(port_.exchange_mutex_);
        const auto deadline = port_.clock_.now() + TURN_TIMEOUT;
        while (port_.turn_taken_ && port_.clock_.wait_until(port_.turn_free_, held.standard(), deadline)) {
        }
        mine_ = !std::exchange(port_.turn_taken_, true);
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn()
    {
        if (mine_) {
            const threads::MutexLock held(port_.exchange_mutex_);
            port_.turn_taken_ = false;
            port_.turn_free_.notify_one();
        }
    }

    bool mine() const { return mine_; }

private:
    AtTtyPort& port_;
    bool mine_ = false;
};
