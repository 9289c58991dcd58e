#pragma once

#include "utils/unique_fd.hpp"

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>

/// What the system's next call for the port ends with, once: an errno, or NOTHING for a call that does
/// nothing.
namespace next_call {
constexpr int NOTHING = -1;
inline std::atomic<int> poll{0}, read{0}, write{0}, tcflush{0};
} // namespace next_call

/// The port's rest behind a report, which is real time and so has none in virtual time.
namespace port_rest {
enum class Kind { REAL, NONE, ENDLESS }; ///< one without an end ends by what ends it early
inline std::atomic<Kind> kind{Kind::REAL};
inline std::atomic<int> begun{0}; ///< so many
} // namespace port_rest

/// A pseudo-terminal of which a port opens the one end while its owner plays the module at the other. The
/// kernel carries bytes in its own time, so they are counted on their way; and the port's thread waits for
/// them without a limit, so that a wake-up that is missed shows. Links with `celld::pty_wire`. One at a time,
/// its owner's thread only.
class PtyWire {
public:
    PtyWire() = default;
    PtyWire(const PtyWire&) = delete;
    PtyWire& operator=(const PtyWire&) = delete;
    ~PtyWire() { hang_up(); }

    /// A new line, which `link` leads to. @throws std::runtime_error when there is none
    void plug_in(const std::filesystem::path& link);
    /// The port reads a hang-up; the link stays.
    void hang_up();
    /// How many lines there have been.
    int line() const { return line_; }
    /// The port's end, which is held open, or the module's would read errors while no port is open.
    int device() const { return device_.get(); }

    /// Without the characters that the line takes for itself (termios(3), IXON and ISIG): nobody would ever
    /// read them. @throws std::runtime_error when the line does not take it
    void say(const std::string& bytes);
    /// Tells of each line that the port has written. Whether there was anything, a whole line or not.
    /// @throws std::runtime_error when it cannot be read
    bool hear(const std::function<void(const std::string& line)>& told);
    /// Whether the port has read all that was said.
    static bool is_read();

private:
    UniqueFd module_;
    UniqueFd device_;
    std::string heard_;
    int line_ = 0;
};
