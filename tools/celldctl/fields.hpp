#pragma once

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/pb/modem.pb.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace celldctl {

/// Collects "name=value" pairs into one line. Control characters never come through: the bus is not trusted
/// with the operator's terminal.
class Fields {
public:
    void add(std::string_view name, std::string_view word);
    void add_number(std::string_view name, std::int64_t number);
    /// In double quotes.
    void add_text(std::string_view name, std::string_view text);

    const std::string& line() const { return line_; }

private:
    std::string line_;
};

/// The text with quotes, backslashes and control characters escaped, those of Unicode too; other UTF-8 is
/// left alone, and what is none becomes U+FFFD.
std::string printable(std::string_view text);
/// "01 ff 30", at most 32 bytes, with "..." for the rest.
std::string hex(const ecu::kova::com::Message::Payload& bytes);
/// "2026-01-31T12:00:00Z".
std::string utc_time(std::int64_t microseconds_since_epoch);

} // namespace celldctl
