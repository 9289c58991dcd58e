#pragma once

#include "at/at_tty_port.hpp"

#include <optional>

/// One command on its way, owned jointly by its caller and the port, so that neither ever looks into a call
/// that has ended. All but `command` is guarded by the port's exchange mutex. Only the exchange that is the
/// port's current one is written to, and giving it an answer ends that: an answer comes at most once.
struct AtTtyPort::Exchange {
    explicit Exchange(const AtCommand& what) : command(what), line(what.build()) {}

    const AtCommand command; ///< a copy without the tail of `parameters()`, which is in `line`
    const std::string line;  ///< the bytes for the port
    bool written = false;
    bool interrupted = false; ///< by `stop`: there will be no answer
    std::optional<AtCommandResponse> answer;

    bool is_over() const { return interrupted || answer.has_value(); }
};
