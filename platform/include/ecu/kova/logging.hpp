#pragma once

#include <atomic>
#include <sstream>
#include <string>
#include <string_view>

/// Leveled log records for syslog or a standard stream. A record on a stream is one line:
/// `<UTC time, ISO 8601 with milliseconds, Z> <LEVEL> <module>: <text>`. Control characters other than the
/// line break are written as \xNN. Every operation may be called from any thread; writing never throws, and
/// waits for a reader that does not read for 100 ms at most: then the record is dropped and counted, and so
/// are those that follow without any wait, until it reads again and is told the count.
namespace ecu::kova::logging {

enum class Level { EMERG, ALERT, CRITICAL, ERROR, WARNING, NOTICE, INFO, DEBUG };

enum class LogMode { SYSLOG = 0, STDOUT = 1, STDERR = 2 };

/// The log channel of one source area. Made by `module()`, lives until the process ends.
class Module {
public:
    explicit Module(std::string name);
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const std::string& name() const { return name_; }

    /// Whether a record of this level would be written; cheap, no lock.
    bool wants(Level level) const;

    /// Writes one record, the parts put together as operator<< writes them. Nothing is built when it is not
    /// wanted.
    template <class... Parts>
    void write(Level level, const Parts&... parts) const
    {
        if (!wants(level)) {
            return;
        }
        std::ostringstream text;
        (text << ... << parts);
        emit(level, text.str());
    }

    template <class... Parts>
    void emergency(const Parts&... parts) const
    {
        write(Level::EMERG, parts...);
    }
    template <class... Parts>
    void error(const Parts&... parts) const
    {
        write(Level::ERROR, parts...);
    }
    template <class... Parts>
    void warning(const Parts&... parts) const
    {
        write(Level::WARNING, parts...);
    }
    template <class... Parts>
    void notice(const Parts&... parts) const
    {
        write(Level::NOTICE, parts...);
    }
    template <class... Parts>
    void info(const Parts&... parts) const
    {
        write(Level::INFO, parts...);
    }
    template <class... Parts>
    void debug(const Parts&... parts) const
    {
        write(Level::DEBUG, parts...);
    }

    /// For signal handlers: keeps a record without locking or allocating; the next thread that logs, or
    /// `write_deferred()`, writes it. `text` must live for ever (a literal). When more records wait than
    /// there are places the surplus is counted, and the count is written in their stead. Async-signal-safe.
    void defer(Level level, const char* text) const noexcept;

    /// Whether INFO and DEBUG pass; see `logging::enable`, which decides it.
    void enable(bool enabled) { enabled_ = enabled; }

private:
    void emit(Level level, std::string_view text) const;

    std::string name_;
    std::atomic<bool> enabled_{true};
};

/// The module of that name, made at the first call and kept. Safe during static initialisation.
Module& module(const std::string& name);

/// Sets the level by its name ("EMERG" ... "DEBUG", any case). An unknown name is reported at WARNING on
/// "kova.logging", with those known, and changes nothing.
void configure_logging(const std::string& level_name);

/// Narrows INFO and DEBUG to the modules named: the first `enable(name, true)` of the process silences every
/// other module's; NOTICE and above always pass. A name may be enabled before its module exists.
void enable(const std::string& module_name, bool enabled);
void enable_all();

void set_log_mode(LogMode mode);
LogMode get_log_mode();
Level get_log_level();
/// "NOTICE".
const char* get_default_log_level_name();
const char* to_str(Level level);

/// Writes what signal handlers have deferred. Every record written does so first; a process calls it at its
/// end.
void write_deferred();

} // namespace ecu::kova::logging
