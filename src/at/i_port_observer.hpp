#pragma once

struct AtCommandResponse;

/// Receiver of unsolicited result codes.
class IPortObserver {
public:
    virtual ~IPortObserver() = default;

    /// Called on the port thread: it must queue and return, and must not execute a command.
    virtual void urc(const AtCommandResponse& response) = 0;
};
