#include "freshness.hpp"

#include "bus/message_adapter.hpp"

#include <array>
#include <cstdio>
#include <ctime>

namespace celldctl {

std::optional<std::int64_t> time_stamp_of(const ecu::kova::com::Message& message)
{
    const auto& payload = message.payload();
    ecu::kova::pb::XRTHeader header;
    if (payload.size() < ecu::kova::com::XRT_HEADER_LENGTH ||
        !header.ParsePartialFromArray(payload.data(), static_cast<int>(ecu::kova::com::XRT_HEADER_LENGTH)) ||
        !header.has_time_stamp()) {
        return std::nullopt;
    }
    return header.time_stamp();
}

std::optional<std::chrono::seconds> age(std::optional<std::int64_t> stamp_ns,
                                        std::optional<std::int64_t> now_ns)
{
    if (!stamp_ns || !now_ns || *stamp_ns < 0 || *stamp_ns > *now_ns) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::nanoseconds(*now_ns - *stamp_ns));
}

bool is_current(const ecu::kova::com::Message& message, std::optional<std::int64_t> now_ns)
{
    if (!message.retained()) {
        return true;
    }
    const auto known = age(time_stamp_of(message), now_ns);
    return known && *known <= LONGEST_SILENCE;
}

std::string time_text(std::chrono::system_clock::time_point when, bool date)
{
    const auto since_epoch = std::chrono::floor<std::chrono::milliseconds>(when.time_since_epoch());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since_epoch);
    const std::time_t time = seconds.count();
    std::tm utc{};
    std::array<char, 64> text{};
    std::array<char, 8> fraction{};
    if (gmtime_r(&time, &utc) == nullptr ||
        std::strftime(text.data(), text.size(), date ? "%Y-%m-%dT%H:%M:%S" : "%H:%M:%S", &utc) == 0) {
        return "(no time)";
    }
    static_cast<void>(std::snprintf(fraction.data(), fraction.size(), ".%03dZ",
                                    static_cast<int>((since_epoch - seconds).count())));
    return std::string(text.data()) + fraction.data();
}

std::string duration_text(std::chrono::seconds duration)
{
    constexpr long MINUTE = 60;
    constexpr long HOUR = 60 * MINUTE;
    constexpr long DAY = 24 * HOUR;
    const long total = duration.count();
    std::array<char, 48> text{};
    const auto print = [&text](long large, const char* unit, long small, const char* small_unit) {
        static_cast<void>(
            std::snprintf(text.data(), text.size(), "%ld %s %02ld %s", large, unit, small, small_unit));
        return std::string(text.data());
    };
    if (total < MINUTE) {
        return std::to_string(total) + " s";
    }
    if (total < HOUR) {
        return print(total / MINUTE, "min", total % MINUTE, "s");
    }
    if (total < DAY) {
        return print(total / HOUR, "h", total % HOUR / MINUTE, "min");
    }
    return print(total / DAY, "d", total % DAY / HOUR, "h");
}

} // namespace celldctl
