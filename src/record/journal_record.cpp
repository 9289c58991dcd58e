#include "record/journal_record.hpp"

#include "utils/strings.hpp"
#include "utils/utc.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <map>
#include <utility>

namespace journal {
namespace {

using Kind = JournalRecord::Kind;

constexpr std::size_t MAX_TEXT = 400;
constexpr std::string_view CHECKSUM = " crc=";
constexpr std::array<std::pair<Kind, const char*>, 7> KINDS{{
    {Kind::START, "START"},
    {Kind::CONNECTED, "CONNECTED"},
    {Kind::LOST, "LOST"},
    {Kind::RESET, "RESET"},
    {Kind::FAULT, "FAULT"},
    {Kind::OFF, "OFF"},
    {Kind::END, "END"},
}};

/// CRC-32 of IEEE 802.3, the lowest bit first. Lines are short and seldom; zlib's, which is quicker, would
/// cost each process 12 kB of its own.
std::uint32_t crc32(std::string_view text)
{
    constexpr std::uint32_t POLYNOMIAL = 0xEDB88320;
    std::uint32_t crc = ~0U;
    for (const char letter : text) {
        crc ^= static_cast<unsigned char>(letter);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? POLYNOMIAL : 0U);
        }
    }
    return ~crc;
}

std::string checksum(std::string_view text)
{
    std::array<char, 9> hex{};
    std::snprintf(hex.data(), hex.size(), "%08x", crc32(text));
    return hex.data();
}

/// Cut at a character, not within one.
std::string bounded(std::string text)
{
    if (text.size() > MAX_TEXT) {
        std::size_t end = MAX_TEXT;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        text.resize(end);
    }
    return text;
}

std::string quoted(const std::string& text)
{
    auto clean = utils::to_valid_utf8(text);
    utils::replace(clean, "\"", "'");
    return '"' + bounded(std::move(clean)) + '"';
}

/// Splits "key=value key="a value""; false where that is not what it is.
bool split(std::string_view text, std::map<std::string, std::string, std::less<>>& fields)
{
    while (!text.empty()) {
        const auto equals = text.find('=');
        if (equals == std::string_view::npos) {
            return false;
        }
        const std::string key(text.substr(0, equals));
        text.remove_prefix(equals + 1);
        const bool in_quotes = !text.empty() && text.front() == '"';
        const auto end = in_quotes ? text.find('"', 1) : text.find(' ');
        if (in_quotes && end == std::string_view::npos) {
            return false;
        }
        fields[key] = std::string(in_quotes ? text.substr(1, end - 1) : text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + (in_quotes ? 1 : 0));
        while (!text.empty() && text.front() == ' ') {
            text.remove_prefix(1);
        }
    }
    return true;
}

std::optional<std::uint64_t> number(std::string_view text)
{
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

class Fields {
public:
    explicit Fields(std::map<std::string, std::string, std::less<>> fields) : fields_(std::move(fields)) {}

    std::string text(std::string_view key) const
    {
        const auto found = fields_.find(key);
        return found == fields_.end() ? "" : found->second;
    }
    std::uint64_t count(std::string_view key) const { return number(text(key)).value_or(0); }
    std::optional<std::chrono::seconds> seconds(std::string_view key) const
    {
        const auto value = number(text(key));
        return value ? std::optional(std::chrono::seconds(*value)) : std::nullopt;
    }

private:
    std::map<std::string, std::string, std::less<>> fields_;
};

std::optional<Kind> kind_of(std::string_view text)
{
    for (const auto& [kind, name] : KINDS) {
        if (text == name) {
            return kind;
        }
    }
    return std::nullopt;
}

JournalRecord record_of(Kind kind, std::chrono::system_clock::time_point wall, const Fields& fields)
{
    JournalRecord record;
    record.kind = kind;
    record.wall = wall;
    record.up = std::chrono::milliseconds(fields.count("up_ms"));
    record.boot = fields.text("boot");
    record.run = fields.count("run");
    record.from = fields.text("from");
    record.reason = fields.text("reason");
    record.cause = fields.text("cause");
    record.road = fields.text("road");
    record.lasted = fields.seconds("lasted_s");
    record.in_a_row = fields.count("in_a_row");
    record.resets = fields.count("resets");
    record.connections = fields.count("connections");
    record.connected = fields.seconds("connected_s").value_or(std::chrono::seconds(0));
    record.unwritten = fields.count("unwritten");
    return record;
}

} // namespace

const char* to_str(Kind kind)
{
    for (const auto& [known, name] : KINDS) {
        if (kind == known) {
            return name;
        }
    }
    return "";
}

std::string to_line(const JournalRecord& record)
{
    std::string line = utils::utc_text(record.wall) + ' ' + to_str(record.kind);
    const auto add = [&line](const char* key, const std::string& value) {
        line += ' ';
        line += key;
        line += '=' + value;
    };
    const auto add_count = [&add](const char* key, std::uint64_t value) { add(key, std::to_string(value)); };
    const auto add_text = [&add](const char* key, const std::string& value) {
        if (!value.empty()) {
            add(key, quoted(value));
        }
    };
    add_count("up_ms", static_cast<std::uint64_t>(record.up.count()));
    add_text("boot", record.boot);
    add_count("run", record.run);
    add_text("from", record.from);
    add_text("reason", record.reason);
    add_text("cause", record.cause);
    if (record.lasted) {
        add_count("lasted_s", static_cast<std::uint64_t>(record.lasted->count()));
    }
    add_count("in_a_row", record.in_a_row);
    add_count("resets", record.resets);
    add_count("connections", record.connections);
    add_count("connected_s", static_cast<std::uint64_t>(record.connected.count()));
    if (record.unwritten > 0) {
        add_count("unwritten", record.unwritten);
    }
    add_text("road", record.road);
    return line + std::string(CHECKSUM) + checksum(line);
}

std::optional<JournalRecord> from_line(std::string_view line)
{
    const auto end = line.rfind(CHECKSUM);
    if (end == std::string_view::npos ||
        line.substr(end + CHECKSUM.size()) != checksum(line.substr(0, end))) {
        return std::nullopt;
    }
    line = line.substr(0, end);
    const auto after_time = line.find(' ');
    const auto after_kind =
        after_time == std::string_view::npos ? after_time : line.find(' ', after_time + 1);
    if (after_kind == std::string_view::npos) {
        return std::nullopt;
    }
    const auto wall = utils::utc_of(line.substr(0, after_time));
    const auto kind = kind_of(line.substr(after_time + 1, after_kind - after_time - 1));
    std::map<std::string, std::string, std::less<>> fields;
    if (!wall || !kind || !split(line.substr(after_kind + 1), fields)) {
        return std::nullopt;
    }
    return record_of(*kind, *wall, Fields(std::move(fields)));
}

} // namespace journal
