#pragma once

#include "base/files.hpp"
#include "base/timer_queue.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <span>
#include <string_view>

namespace bench {

/// What happened on the bench, an event a line, for a check afterwards: milliseconds since the bench began,
/// the kind of event and its fields, parted by tabs (docs/bench.md lists the kinds). Nothing is written
/// before open(). Who wants to act on an event as it happens hears of it here, too.
class Transcript {
public:
    explicit Transcript(const TimerQueue& time) : time_(time), start_(time.now()) {}

    /// Begins a new file. @throws BenchError when it cannot be written
    void open(const std::filesystem::path& file);

    /// Control characters in a field become dots, so that a line stays one. @throws BenchError
    void note(std::string_view kind, std::initializer_list<std::string_view> fields = {});

    /// Told of each note, also when no file is written.
    void
    on_note(std::function<void(std::string_view kind, std::span<const std::string_view> fields)> callback)
    {
        on_note_ = std::move(callback);
    }

    std::int64_t now_ms() const;

private:
    void write(std::string_view kind, std::initializer_list<std::string_view> fields);

    const TimerQueue& time_;
    TimerQueue::TimePoint start_;
    FileDescriptor file_;
    std::function<void(std::string_view, std::span<const std::string_view>)> on_note_;
};

} // namespace bench
