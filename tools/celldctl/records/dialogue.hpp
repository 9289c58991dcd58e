#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace celldctl {

/// A recording of the AT dialogue (docs/recording.md), with each answer beside its command. Pure, but for the
/// reading.
struct Dialogue {
    enum class Kind { EXCHANGE, REPORT, PORT, REMARK };
    enum class Outcome { OK, FAILED, TIME_OUT, INTERRUPTED, NOT_SENT, OPEN };

    struct Entry {
        Kind kind = Kind::REMARK;
        std::chrono::system_clock::time_point wall;
        std::chrono::milliseconds up{0}; ///< since the unit's boot
        std::string text;                ///< the command with its "AT", the report, what became of the port
        // of an exchange
        std::vector<std::string> lines;    ///< in front of the final line
        std::string result;                ///< the final line
        Outcome outcome = Outcome::OPEN;   ///< OPEN: the recording ends before it does
        std::chrono::milliseconds took{0}; ///< until the final line, or until nobody waited any more
    };

    std::vector<Entry> entries;
};

/// Reads one file behind the other, the older first. Throws Failure that names the file, and the line where
/// one is none of a recording.
Dialogue read_dialogue(const std::vector<std::string>& files);
/// Whether the text's first line is one of a recording.
bool is_recording(const std::string& line);

/// An entry's lines, aligned.
std::string entry_text(const Dialogue::Entry& entry);
/// "OK", "failed", "TIME-OUT", ...
const char* to_str(Dialogue::Outcome outcome);

} // namespace celldctl
