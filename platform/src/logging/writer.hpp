#pragma once

#include "deferred.hpp"
#include "stream_sink.hpp"
#include "syslog_sink.hpp"

#include <ecu/kova/logging.hpp>

#include <atomic>
#include <ctime>
#include <string>
#include <string_view>
#include <threads/mutex.hpp>
#include <unistd.h>

namespace ecu::kova::logging {

/// Where the records of every module come together, one at a time. Any thread; nothing throws.
class Writer {
public:
    using Diversion = void (*)(void* context, Level level, const std::string& module,
                               const std::string& text);

    /// One record, behind those that signal handlers left.
    void write(Level level, const std::string& module, std::string_view raw);
    void write_deferred();

    /// For signal handlers; the only part of this that they may touch.
    DeferredRecords& deferred() noexcept { return deferred_; }

    void mode(LogMode mode) { mode_ = mode; }
    LogMode mode() const { return mode_; }

    /// Every record goes there in place of the sink; nullptr ends it.
    void divert(Diversion diversion, void* context);

private:
    void write_record(const timespec& time, Level level, const std::string& module, std::string_view raw)
        THREADS_REQUIRES(mutex_);
    void write_deferred_records() THREADS_REQUIRES(mutex_);

    std::atomic<LogMode> mode_{LogMode::SYSLOG};
    DeferredRecords deferred_;

    threads::Mutex mutex_;
    StreamSink stdout_ THREADS_GUARDED_BY(mutex_){STDOUT_FILENO};
    StreamSink stderr_ THREADS_GUARDED_BY(mutex_){STDERR_FILENO};
    SyslogSink syslog_ THREADS_GUARDED_BY(mutex_);
    Diversion diversion_ THREADS_GUARDED_BY(mutex_) = nullptr;
    void* diversion_context_ THREADS_GUARDED_BY(mutex_) = nullptr;
};

/// The process's own. Never destroyed: threads and static objects may log to the last.
Writer& writer();

} // namespace ecu::kova::logging
