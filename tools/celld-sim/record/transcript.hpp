#pragma once

#include "base/files.hpp"
#include "base/timer_queue.hpp"

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string_view>

namespace bench {

/// What happened on the bench, an event a line, for a check afterwards: milliseconds since the bench began,
/// the kind of event and its fields, parted by tabs (docs/bench.md lists the kinds). Nothing is written
/// before open().
class Transcript {
public:
    explicit Transcript(const TimerQueue& time) : time_(time), start_(time.now()) {}

    /// Begins a new file. @throws BenchError when it cannot be written
    void open(const std::filesystem::path& file);

    /// Control characters in a field become dots, so that a line stays one. @throws BenchError
    void note(std::string_view kind, std::initializer_list<std::string_view> fields = {});

    std::int64_t now_ms() const;

private:
    const TimerQueue& time_;
    TimerQueue::TimePoint start_;
    FileDescriptor file_;
};

} // namespace bench
