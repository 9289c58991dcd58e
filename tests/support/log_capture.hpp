#pragma once

#include <ecu/kova/log_tap.hpp>
#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// Keeps every record in place of the sink as long as it lives, DEBUG included unless told otherwise. One at
/// a time; records may come from any thread.
class LogCapture {
public:
    using Level = ecu::kova::logging::Level;

    struct Record {
        Level level;
        std::string module;
        std::string text;
    };

    explicit LogCapture(Level level = Level::DEBUG) : level_before_(ecu::kova::logging::get_log_level())
    {
        ecu::kova::logging::set_tap(&LogCapture::keep, this);
        ecu::kova::logging::configure_logging(ecu::kova::logging::to_str(level));
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture()
    {
        ecu::kova::logging::configure_logging(ecu::kova::logging::to_str(level_before_));
        ecu::kova::logging::set_tap(nullptr, nullptr);
    }

    /// Whether a record of this level holds the text.
    bool contains(Level level, const std::string& text) const
    {
        return count_if([&](const Record& record) {
                   return record.level == level && record.text.find(text) != std::string::npos;
               }) > 0;
    }
    /// Records of any level that hold the text.
    std::size_t count(const std::string& text) const
    {
        return count_if([&](const Record& record) { return record.text.find(text) != std::string::npos; });
    }
    std::vector<Record> records() const
    {
        const std::lock_guard held(mutex_);
        return records_;
    }
    /// The same, and forgets them.
    std::vector<Record> take()
    {
        const std::lock_guard held(mutex_);
        return std::exchange(records_, {});
    }
    void clear()
    {
        const std::lock_guard held(mutex_);
        records_.clear();
    }

    /// What a failed expectation shows.
    friend std::ostream& operator<<(std::ostream& out, const LogCapture& log)
    {
        for (const auto& record : log.records()) {
            out << ecu::kova::logging::to_str(record.level) << ' ' << record.module << ": " << record.text
                << '\n';
        }
        return out;
    }

private:
    template <class Predicate>
    std::size_t count_if(Predicate matches) const
    {
        const std::lock_guard held(mutex_);
        return static_cast<std::size_t>(std::count_if(records_.begin(), records_.end(), matches));
    }

    static void keep(void* self, Level level, const std::string& module, const std::string& text)
    {
        auto& capture = *static_cast<LogCapture*>(self);
        const std::lock_guard held(capture.mutex_);
        capture.records_.push_back({level, module, text});
    }

    const Level level_before_;
    mutable std::mutex mutex_;
    std::vector<Record> records_; // guarded by mutex_
};
