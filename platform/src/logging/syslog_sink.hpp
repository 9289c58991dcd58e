#pragma once

#include "patience.hpp"

#include <ecu/kova/logging.hpp>

#include <cstdint>
#include <ctime>
#include <string>

namespace ecu::kova::logging {

/// The system's logger, facility daemon, identity "celld". Speaks to its socket itself, for syslog(3) waits
/// without end for a logger that has stopped reading. Drops and counts as StreamSink does. One thread at a
/// time.
class SyslogSink {
public:
    explicit SyslogSink(std::string path = "/dev/log");
    SyslogSink(const SyslogSink&) = delete;
    SyslogSink& operator=(const SyslogSink&) = delete;
    ~SyslogSink();

    void write(const timespec& time, Level level, const std::string& module, const std::string& text);

private:
    bool send_packet(const std::string& packet, const Patience& patience);
    bool call();
    void hang_up();

    std::string path_;
    int socket_ = -1;
    bool stalled_ = false; // the last record was dropped
    std::uint64_t dropped_ = 0;
};

} // namespace ecu::kova::logging
