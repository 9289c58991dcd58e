#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace bench {

/// Turns the bytes of the control unit into command lines, as ITU-T V.250 clause 5.2 has it: a line begins
/// with "AT" in either case, <CR> ends it, <BS> takes the last character back, other control characters are
/// dropped. Holds at most one line of MAX_LINE characters whatever comes in.
class LineEditor {
public:
    static constexpr std::size_t MAX_LINE =
        2048; ///< more than any module accepts; what exceeds it spoils the line

    struct Handlers {
        std::function<void(std::string_view)> echo;      ///< bytes to send back
        std::function<void(const std::string&)> command; ///< a line without its "AT"
        std::function<void()> overflow;                  ///< a line that was too long has ended
    };

    explicit LineEditor(Handlers handlers) : handlers_(std::move(handlers)) {}

    void feed(std::string_view bytes);

    /// Forgets a line that was begun; echo on, as after a restart of the module.
    void reset();

    void echo(bool on) { echo_ = on; }
    bool echo() const { return echo_; }

private:
    void feed(char byte);
    void feed_prefix(char byte);
    void end_line();

    Handlers handlers_;
    std::string line_; ///< with its "AT"
    bool too_long_ = false;
    bool echo_ = true;
};

} // namespace bench
