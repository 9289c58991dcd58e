#pragma once

#include "record/transcript.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// The AT dialogue's part of the transcript: gives each command its number, and each answer the command that
/// it belongs to.
class AtRecord {
public:
    struct Command {
        std::uint64_t id = 0;
        std::int64_t written_ms = 0;
        std::string text; ///< with its "AT"
    };

    /// `port` says whether anybody can hear an answer: "open", "closed" or "gone".
    AtRecord(Transcript& transcript, std::function<std::string()> port)
        : transcript_(transcript), port_(std::move(port))
    {
    }

    Command received(const std::string& line);

    /// The final result and the lines in front of it are out.
    void answered(const Command& command, const std::vector<std::string>& lines, const std::string& result);

    /// There will be no answer. `reason` is one word.
    void unanswered(const Command& command, std::string_view reason);

    void report(const std::string& line) { transcript_.note("report", {line}); }

private:
    Transcript& transcript_;
    std::function<std::string()> port_;
    std::uint64_t last_id_ = 0;
};

} // namespace bench
