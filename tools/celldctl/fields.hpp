#pragma once

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/pb/modem.pb.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace celldctl {

/// What a message says, field by field. Control characters never come into the line: the bus is not trusted
/// with the operator's terminal.
class Fields {
public:
    /// As it came; nothing stands for a field that was there before and no longer is.
    using Value = std::variant<std::nullptr_t, std::int64_t, std::string, std::vector<Fields>>;
    struct Field {
        std::string name;
        Value value;
        std::string shown; ///< the value in a line
    };

    void add(std::string_view name, std::string_view word);
    void add_number(std::string_view name, std::int64_t number);
    /// In double quotes.
    void add_text(std::string_view name, std::string_view text);
    /// One after the other in the line, without the list's name.
    void add_list(std::string_view name, std::vector<Fields> list);
    /// "name=--".
    void add_gone(std::string_view name);

    /// "name=value name=value".
    std::string line() const;
    const std::vector<Field>& all() const { return fields_; }
    bool empty() const { return fields_.empty(); }
    /// What differs from `before`: values that are new or others, and names that are no longer there.
    Fields changed_since(const Fields& before) const;
    void drop(std::string_view name);

private:
    const Field* find(std::string_view name) const;

    std::vector<Field> fields_;
};

/// The text with quotes, backslashes and control characters escaped, those of Unicode too; other UTF-8 is
/// left alone, and what is none becomes U+FFFD.
std::string printable(std::string_view text);
/// "01 ff 30", at most 32 bytes, with "..." for the rest.
std::string hex(const ecu::kova::com::Message::Payload& bytes);
/// "2026-01-31T12:00:00Z".
std::string utc_time(std::int64_t microseconds_since_epoch);

} // namespace celldctl
