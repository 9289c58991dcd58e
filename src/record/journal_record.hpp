#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// One line of the journal (docs/journal.md): something that happened to the connection, with what was
/// counted until then.
struct JournalRecord {
    enum class Kind {
        START,     ///< the daemon has started
        CONNECTED, ///< a connection
        LOST,      ///< it is over, and the module still on
        RESET,     ///< the module is being reset
        FAULT,     ///< the hardware error (the diagnostic trouble code) was reported
        OFF,       ///< the module is off, and stays so
        END,       ///< the daemon has ended otherwise than by switching the module off
    };

    Kind kind = Kind::START;
    std::chrono::system_clock::time_point wall; ///< may be of 1970: many units have no clock of their own
    std::chrono::milliseconds up{0};            ///< since the unit's boot, without the time it was suspended
    std::string boot;                           ///< the kernel's boot id; "-" where it has none
    std::uint64_t run = 0;                      ///< number of the daemon's run, from 1
    std::string from;                           ///< the state that was left, without "Modem::State::"
    std::string reason;                         ///< of a reset, as the bus has it
    std::string cause;                          ///< as the log has it
    std::string road;                           ///< the states since the last record and how long each lasted
    /// CONNECTED: since the loss, or since the start. Others: how long the connection lasted that ends here.
    std::optional<std::chrono::seconds> lasted;
    std::uint64_t in_a_row = 0;        ///< resets since the last connection, this one included
    std::uint64_t resets = 0;          ///< all that were ever recorded
    std::uint64_t connections = 0;     ///< likewise
    std::chrono::seconds connected{0}; ///< time connected, of all connections whose end was seen
    std::uint64_t unwritten = 0;       ///< losses and connections before this one that were too many to write

    bool operator==(const JournalRecord&) const = default;
};

/// Pure; any thread.
namespace journal {

/// "RESET", "CONNECTED", ...
const char* to_str(JournalRecord::Kind kind);

/// Without its line end. Text is made valid UTF-8 without control characters and quotes, and is cut at 400
/// bytes.
std::string to_line(const JournalRecord& record);
/// Nothing for a line that is torn or changed: its checksum does not fit. Unknown keys are passed over.
std::optional<JournalRecord> from_line(std::string_view line);

} // namespace journal
