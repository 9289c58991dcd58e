#pragma once

#include "at/at_command.hpp"
#include "at/at_command_response.hpp"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <threads/mutex.hpp>
#include <vector>

/// Turns the module's byte stream into responses: lines that belong to the active command, the final line
/// that ends it, and unsolicited result codes (ITU-T V.250, 5.7). Logs on "celld.atparser".
///
/// `feed_input`, `extract_responses` and `take_responses` belong to one thread, the receiver's; the others
/// may be called from any. Whatever is fed, no more than `LIMIT` bytes are kept of an unfinished line, of a
/// command's lines, and of the responses that nobody has taken: what is beyond is dropped with a WARNING.
class AtParser {
public:
    /// Bytes; the longest real answers (a list of operators) have some hundreds.
    static constexpr std::size_t LIMIT = std::size_t{64} * 1024;

    /// Appends, and extracts as soon as there is a complete line.
    void feed_input(std::string_view data);
    void extract_responses();
    /// The finished responses, oldest first; leaves none.
    std::vector<AtCommandResponse> take_responses();

    /// How many final lines came while no command was active, since the last question.
    std::size_t take_stray_finals();

    /// From now on lines belong to this command, as far as its prefix says so; to no other.
    void active_command(const AtCommand& command);
    /// This command was written although earlier ones have no final line yet: it becomes active behind
    /// theirs. A marker becomes active also with its own line, which shows that theirs are lost: what is lost
    /// comes out as a final response without a final line.
    void following_command(const AtCommand& command, bool is_marker);
    /// A fresh line: nothing of the last one is left. While nothing is fed.
    void forget();
    /// Lines are unsolicited again. The command's lines so far stay, in front of the next command's answer.
    void timeout_active_command();

private:
    bool resynchronise();
    void cut_endless_line();
    void classify(std::string_view line);
    struct Following {
        std::string prefix;
        bool is_marker;
    };

    void skip_lost(std::string_view line) THREADS_REQUIRES(mutex_);
    void finish(std::string_view final_line) THREADS_REQUIRES(mutex_);
    void append_text(std::string_view line) THREADS_REQUIRES(mutex_);
    void append_unsolicited(std::string_view line);

    // The receiver's thread only.
    std::string input_;
    std::size_t looked_at_ = 0; // no line ends before it in input_
    std::vector<AtCommandResponse> responses_;
    std::size_t queued_bytes_ = 0; // what the unsolicited ones of responses_ hold
    std::size_t stray_finals_ = 0;
    bool queue_full_ = false; // said once a time the queue is full
    bool skipping_ = false;   // inside a line that was cut

    threads::Mutex mutex_;
    int state_ THREADS_GUARDED_BY(mutex_) = 0; // 1 while a command is active
    std::string active_prefix_ THREADS_GUARDED_BY(mutex_);
    std::deque<Following> following_ THREADS_GUARDED_BY(mutex_); // behind the active command
    std::string response_text_ THREADS_GUARDED_BY(mutex_);
    bool text_full_ THREADS_GUARDED_BY(mutex_) = false; // said once a command
};
