#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// A dialogue as the daemon records it (docs/recording.md), from the module's side.
struct Recording {
    /// What the module did by itself, or too late.
    struct Event {
        std::chrono::milliseconds after{0}; ///< since the answer, or since the command where there is none
        std::string line;                   ///< empty: the line hung up
    };
    struct Exchange {
        std::string command; ///< with its "AT"; "***" stands for any text in its place
        std::vector<std::string> lines;
        std::optional<std::string> result;  ///< the final line; nothing when none came in time
        std::chrono::milliseconds delay{0}; ///< from the command to the final line
        std::vector<Event> events;          ///< until the next command
    };

    std::vector<Exchange> exchanges;
};

/// Throws BenchError that names the file and the line. Marks it does not know are passed over; so is what the
/// module said before the first command.
Recording read_recording(const std::filesystem::path& file);

} // namespace bench
