#pragma once

#include <string_view>

/// Is told what goes over the AT port. Called by the port's thread, and by whoever waits for an answer; must
/// not wait for anything.
class IPortRecorder {
public:
    virtual ~IPortRecorder() = default;

    virtual void opened(std::string_view device) = 0;
    /// `hung_up`: by itself, the module or its USB device has gone.
    virtual void closed(bool hung_up) = 0;
    /// A command as it was written.
    virtual void sent(std::string_view bytes) = 0;
    /// What a read has brought: lines, pieces of lines.
    virtual void received(std::string_view bytes) = 0;
    /// Nobody waits for the answer of this command any more. `why`: "time-out", "interrupted", "not sent".
    virtual void given_up(std::string_view command, std::string_view why) = 0;
};
