#pragma once

#include "at/i_port_recorder.hpp"
#include "record/line_writer.hpp"
#include "timer/clock.hpp"

#include <string>

/// The dialogue with the module as a file (docs/recording.md): a line for each command, line of an answer or
/// report, and what became of the port, with wall and monotonic time. Secrets are masked as in the log. The
/// file is another thread's, so that the port never waits for a disk.
class AtRecording final : public IPortRecorder {
public:
    static constexpr const char* CONFIG_KEY = "at.recording";
    static constexpr const char* PATH = "/var/lib/celld/at.recording"; ///< and ".1"; below CELLD_ROOT
    static constexpr std::size_t LIMIT = 2UL * 1024 * 1024;            ///< bytes of each of the two

    explicit AtRecording(const Clock& clock = SystemClock::instance());

    void opened(std::string_view device) override;
    void closed(bool hung_up) override;
    void sent(std::string_view bytes) override;
    void received(std::string_view bytes) override;
    void given_up(std::string_view command, std::string_view why) override;

    /// Waits for the disk; for tests.
    bool flush(std::chrono::milliseconds patience) { return writer_.flush(patience); }

private:
    void end_of_line();
    void write(char mark, std::string_view text);

    const Clock& clock_;
    LineWriter writer_;
    std::string line_; // being received; port thread only
};
