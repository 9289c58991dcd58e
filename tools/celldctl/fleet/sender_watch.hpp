#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace celldctl {

/// Wall-clock time: it is shown to people and compared with what other hosts say.
using FleetTime = std::chrono::system_clock::time_point;

/// Finds out that two hosts publish under one id: the time since boot that frames carry runs back again and
/// again, or the module's IMEI changes to and fro. Once is a host that was booted or a module that was
/// changed.
class SenderWatch {
public:
    /// Of each status that was just sent.
    void note_stamp(std::int64_t since_boot_ns, FleetTime now);
    void note_imei(const std::string& imei, FleetTime now);
    bool sees_two(FleetTime now) const;

private:
    void strike(FleetTime now);

    std::optional<std::int64_t> newest_ns_;
    std::string imei_;
    std::array<FleetTime, 3> strikes_{}; // the last so many, oldest first
};

} // namespace celldctl
